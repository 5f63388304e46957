#include "chance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

namespace bench {
namespace {

using audio::AudioHashHit;
using audio::Match;

/// Hits of an audio, which agree or are a second and more apart.
void append(std::vector<AudioHashHit>& hits, std::int32_t audio, int count, bool agree) {
  for (int i = 0; i < count; ++i) hits.push_back({audio, agree ? 100 : 40 * i});
}

struct Collection {
  std::vector<AudioHashHit> hits;
  std::vector<Match> found;
  std::vector<bool> is_chance;

  /// The audio that is asked about, which has few hits that agree.
  void addTrue(int hits_of_it) {
    append(hits, static_cast<std::int32_t>(is_chance.size()), hits_of_it, true);
    add(hits_of_it, hits_of_it, false);
  }
  void addChance(int hits_of_it) {
    append(hits, static_cast<std::int32_t>(is_chance.size()), hits_of_it, false);
    add(hits_of_it, 1, true);
  }

  std::vector<Match> grow(std::size_t copies) const {
    std::mt19937_64 random(1);
    return growByChance(hits, found, copies, is_chance, random);
  }

 private:
  void add(int hits_of_it, int agreeing, bool chance) {
    found.push_back({static_cast<std::int32_t>(is_chance.size()), agreeing, 0.0, hits_of_it, 0});
    is_chance.push_back(chance);
    std::ranges::stable_sort(found, std::greater(), &Match::matched_num);
  }
};

Collection oneAmongFive(int hits_of_it) {
  Collection collection;
  collection.addTrue(hits_of_it);
  for (int i = 0; i < 5; ++i) collection.addChance(50);
  return collection;
}

TEST(Chance, AddsNothingWithoutCopies) {
  const Collection collection = oneAmongFive(30);
  const std::vector<Match> grown = collection.grow(0);
  ASSERT_EQ(grown.size(), 6u);
  EXPECT_EQ(grown[0].audio_index, 0);
  EXPECT_EQ(grown[0].matched_num, 30);
}

TEST(Chance, PushesOutWhatHasFewerHitsThanTwentyOthers) {
  const Collection collection = oneAmongFive(30);
  const std::vector<Match> grown = collection.grow(10);
  EXPECT_EQ(grown.size(), 20u);
  EXPECT_TRUE(std::ranges::none_of(grown, [](const Match& m) { return m.audio_index == 0; }));
  EXPECT_TRUE(std::ranges::all_of(grown, [](const Match& m) { return m.hit_count > 30; }));
}

TEST(Chance, KeepsWhatHasMoreHitsFirstAndAgreesLittleItself) {
  const Collection collection = oneAmongFive(200);
  const std::vector<Match> grown = collection.grow(1000);
  ASSERT_EQ(grown.size(), 20u);
  EXPECT_EQ(grown[0].audio_index, 0);
  EXPECT_EQ(grown[0].matched_num, 200);
  for (std::size_t i = 1; i < grown.size(); ++i) {
    // Of hits 40 frames apart only one that is drawn again agrees with itself.
    EXPECT_LT(grown[i].matched_num, 12);
    EXPECT_LE(grown[i].matched_num, grown[i - 1].matched_num);
  }
}

TEST(Chance, DrawsTheSameFromTheSameSeed) {
  Collection collection;
  for (int i = 0; i < 30; ++i) collection.addChance(40 + i);
  const std::vector<Match> once = collection.grow(7);
  const std::vector<Match> again = collection.grow(7);
  ASSERT_EQ(once.size(), again.size());
  for (std::size_t i = 0; i < once.size(); ++i) {
    EXPECT_EQ(once[i].hit_count, again[i].hit_count);
    EXPECT_EQ(once[i].matched_num, again[i].matched_num);
  }
}

}  // namespace
}  // namespace bench
