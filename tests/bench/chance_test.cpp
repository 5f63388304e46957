#include "chance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

namespace bench {
namespace {

using audio::AudioHashHit;

/// An audio that is true, whose 30 hits agree, and five by chance, whose 50 hits are 40 frames
/// apart.
struct Collection {
  std::vector<AudioHashHit> hits;
  std::vector<bool> is_chance = {false, true, true, true, true, true};

  Collection() {
    for (int i = 0; i < 30; ++i) hits.push_back({0, 100});
    for (std::int32_t audio = 1; audio <= 5; ++audio) {
      for (int i = 0; i < 50; ++i) hits.push_back({audio, 40 * i});
    }
  }

  std::vector<AudioHashHit> grow(std::size_t copies) const {
    std::mt19937_64 random(1);
    return growByChance(hits, is_chance, copies, random);
  }
};

bool areEqual(const AudioHashHit& a, const AudioHashHit& b) {
  return a.audio_index == b.audio_index && a.time_offset == b.time_offset;
}

TEST(Chance, KeepsTheHitsThatThereAre) {
  const Collection collection;
  for (const std::size_t copies : {0u, 1u, 100u}) {
    const std::vector<AudioHashHit> grown = collection.grow(copies);
    ASSERT_GE(grown.size(), collection.hits.size());
    EXPECT_TRUE(
        std::equal(collection.hits.begin(), collection.hits.end(), grown.begin(), areEqual));
  }
  EXPECT_EQ(collection.grow(0).size(), collection.hits.size());
}

TEST(Chance, MakesAudiosThatAreLikeThoseOfChance) {
  constexpr std::size_t kCopies = 400;
  const Collection collection;
  const std::vector<AudioHashHit> grown = collection.grow(kCopies);
  std::map<std::int32_t, int> counts;
  for (std::size_t i = collection.hits.size(); i < grown.size(); ++i) {
    ++counts[grown[i].audio_index];
    // A model's hit, moved as far as hits agree.
    EXPECT_LE(std::abs((grown[i].time_offset + 20) % 40 - 20), 4);
    EXPECT_LE(grown[i].time_offset, 40 * 49 + 4);
  }
  ASSERT_EQ(counts.size(), 5 * kCopies) << "none of the true one";
  double sum = 0.0;
  double squares = 0.0;
  for (const auto& [audio, count] : counts) {
    EXPECT_GE(audio, 6);
    sum += count;
    squares += (count - 50.0) * (count - 50.0);
  }
  // Mean and variance of a Poisson distribution are equal.
  EXPECT_NEAR(sum / static_cast<double>(counts.size()), 50.0, 1.0);
  EXPECT_NEAR(squares / static_cast<double>(counts.size()), 50.0, 8.0);
}

TEST(Chance, DrawsTheSameFromTheSameSeed) {
  const Collection collection;
  const std::vector<AudioHashHit> once = collection.grow(7);
  const std::vector<AudioHashHit> again = collection.grow(7);
  EXPECT_TRUE(std::equal(once.begin(), once.end(), again.begin(), again.end(), areEqual));
}

}  // namespace
}  // namespace bench
