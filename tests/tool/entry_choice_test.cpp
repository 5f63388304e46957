// Which of a recording's features become entries, and how they are rated.

#include "tool/keeping/entry_choice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <set>

#include "base/analysis_grid.h"
#include "feature/land_mark.h"
#include "tool/input/recording.h"
#include "tool/keeping/entry_selection.h"
#include "tool/keeping/entry_worth.h"
#include "tool/keeping/rated_features.h"

namespace {

using audiomatch::chooseEntries;
using audiomatch::RatedFeature;
using Rated = std::vector<RatedFeature>;
using Features = std::vector<audio::AudioFeature>;

constexpr std::uint32_t kBand = audio::kHashKeys / 8;

std::uint32_t keyOf(std::int32_t anchor, std::int32_t target, std::int32_t frames) {
  return audio::hashLandMark({0, anchor, target, frames});
}

Rated sorted(Rated rated) {
  std::ranges::sort(rated, {}, [](const RatedFeature& each) {
    return std::pair(each.feature.hashKey, each.feature.startTime);
  });
  return rated;
}

/// Different keys of one band, all about as common, so many in each second.
Rated perSecond(const std::vector<std::uint32_t>& counts, std::int32_t first_bin = 100,
                float level = 3.0f) {
  Rated rated;
  std::int32_t key = 0;
  for (std::uint32_t second = 0; second < counts.size(); ++second) {
    for (std::uint32_t i = 0; i < counts[second]; ++i, ++key) {
      const std::int32_t anchor = first_bin + key % 20;
      rated.push_back({{second * 32 + i % 32, keyOf(anchor, anchor + 9, 10 + key / 20)}, level, 0});
    }
  }
  return sorted(rated);
}

std::map<std::uint32_t, int> countPerSecond(const Features& features) {
  std::map<std::uint32_t, int> counts;
  for (const audio::AudioFeature& each : features) ++counts[each.startTime / 32];
  return counts;
}

TEST(EntryChoice, KeepsAllThatHasRoom) {
  const Rated rated = perSecond({5, 7});
  EXPECT_EQ(chooseEntries(rated, audiomatch::kEveryEntry).size(), 12u);
  EXPECT_EQ(chooseEntries(rated, 100).size(), 12u);
  EXPECT_LT(chooseEntries(rated, 5).size(), 12u);
  EXPECT_TRUE(chooseEntries({}, 5).empty());
}

TEST(EntryChoice, NeverTakesMoreThanItsRoom) {
  std::mt19937 random(3);
  Rated rated;
  std::set<std::pair<std::uint32_t, std::uint32_t>> seen;
  while (rated.size() < 5000) {
    const auto anchor = static_cast<std::int32_t>(31 + random() % 190);
    const auto bins = static_cast<std::int32_t>(1 + random() % 30);
    const std::uint32_t key = keyOf(anchor, random() % 2 == 0 ? anchor + bins : anchor - bins,
                                    static_cast<std::int32_t>(1 + random() % 63));
    const auto time = static_cast<std::uint32_t>(random() % 3000);
    if (!seen.emplace(key, time).second) continue;
    rated.push_back({{time, key}, static_cast<float>(random() % 100) / 10.0f, 1.0f});
  }
  rated = sorted(rated);
  for (const std::size_t room : {1u, 50u, 700u, 3000u}) {
    const Features chosen = chooseEntries(rated, room);
    double taken = 0.0;
    for (const audio::AudioFeature& each : chosen) {
      taken += std::max(std::exp(audiomatch::logChance(each.hashKey)), 0.25);
    }
    EXPECT_LE(taken, static_cast<double>(room) * 1.001);
    EXPECT_GE(taken, 0.9 * static_cast<double>(room) - 3.0);
    EXPECT_TRUE(std::ranges::is_sorted(chosen, {}, [](const audio::AudioFeature& each) {
      return std::pair(each.hashKey, each.startTime);
    }));
  }
}

TEST(EntryChoice, PrefersWhatSurvivesAndWhatIsRare) {
  // By turns loud and low, all else equal.
  Rated rated = perSecond({40});
  for (std::size_t i = 0; i < rated.size(); ++i) rated[i].level = i % 2 == 0 ? 6.0f : 2.0f;
  const Features loud = chooseEntries(rated, 10);
  ASSERT_GE(loud.size(), 5u);
  for (const audio::AudioFeature& each : loud) {
    const auto own = std::ranges::find(rated, each, &RatedFeature::feature);
    EXPECT_EQ(own->level, 6.0f);
  }
  // Ten pairs of common distances, and ten of a rare one, that survive alike.
  Rated both = perSecond({10});
  for (std::int32_t i = 0; i < 10; ++i) {
    both.push_back({{20, keyOf(100 + i, 109 + i, 62)}, 3.0f, 0.0f});
  }
  const Features rare = chooseEntries(sorted(both), 4);
  EXPECT_GT(std::ranges::count_if(rare, [](const auto& each) { return (each.hashKey & 63) == 62; }),
            static_cast<long>(rare.size() / 2));
}

TEST(EntryChoice, SharesRoomOutAmongSecondsAndBands) {
  const auto even = countPerSecond(chooseEntries(perSecond({40, 40, 40, 40}), 40));
  ASSERT_EQ(even.size(), 4u);
  for (const auto& [second, count] : even) EXPECT_NEAR(count, even.at(0), 3) << second;
  // A quiet second has as much as loud ones; what a sparse one can't use, the others have.
  Rated quiet = perSecond({40, 40});
  for (RatedFeature& each : quiet) {
    if (each.feature.startTime >= 32) each.level = 0.0f;
  }
  const auto counts = countPerSecond(chooseEntries(quiet, 20));
  EXPECT_NEAR(counts.at(0), counts.at(1), 3);
  const auto sparse = countPerSecond(chooseEntries(perSecond({3, 100, 0, 100}), 40));
  EXPECT_EQ(sparse.at(0), 3);
  EXPECT_NEAR(sparse.at(1), sparse.at(3), 3);
  // A band that is far louder doesn't take all.
  Rated bands = perSecond({60}, 100, 9.0f);
  for (const RatedFeature& each : perSecond({60}, 180, 0.0f)) bands.push_back(each);
  const Features of_both = chooseEntries(sorted(bands), 30);
  const auto low =
      std::ranges::count_if(of_both, [](const auto& each) { return each.hashKey < 5 * kBand; });
  EXPECT_GT(low, static_cast<long>(of_both.size()) / 2);
  EXPECT_GT(static_cast<long>(of_both.size()) - low, static_cast<long>(of_both.size()) / 6);
}

TEST(EntryChoice, LetsRepeatedKeysTakeMoreRoom) {
  // One key forty times a second, as a loop has it, and forty keys once.
  Rated loop;
  for (std::uint32_t i = 0; i < 32; ++i) loop.push_back({{i, keyOf(100, 109, 12)}, 3.0f, 0.0f});
  EXPECT_LT(2 * chooseEntries(loop, 20).size(), chooseEntries(perSecond({32}), 20).size() + 5);
  EXPECT_GE(chooseEntries(loop, 20).size(), 4u);
}

TEST(EntryWorth, IsHigherForWhatStandsOutAndLowerForWhatIsCommon) {
  const RatedFeature plain{{0, keyOf(100, 109, 12)}, 2.0f, 1.0f};
  RatedFeature loud = plain;
  loud.level = 3.0f;
  RatedFeature among_loud = plain;
  among_loud.around = 2.0f;
  EXPECT_GT(audiomatch::logSurvival(loud), audiomatch::logSurvival(plain));
  EXPECT_LT(audiomatch::logSurvival(among_loud), audiomatch::logSurvival(plain));
  EXPECT_LT(audiomatch::logSurvival(loud), 0.0);
  EXPECT_GT(audiomatch::logChance(keyOf(100, 109, 12)), audiomatch::logChance(keyOf(100, 109, 62)));
}

TEST(EntryWorth, SaysHowMuchMoreCommonAKeyIsThanTheMean) {
  double sum = 0.0;
  int keys = 0;
  for (std::int32_t anchor = 0; anchor < 256; ++anchor) {
    for (std::int32_t bins = -30; bins <= 30; ++bins) {
      for (std::int32_t frames = 1; frames < 64; ++frames) {
        if (bins == 0 || anchor + bins < 0 || anchor + bins > 255) continue;
        sum += std::exp(audiomatch::logChance(keyOf(anchor, anchor + bins, frames)));
        ++keys;
      }
    }
  }
  EXPECT_NEAR(sum / keys, 1.0, 0.05);
}

TEST(EntryWorth, HasAnAnswerForEveryKey) {
  // Those that no landmark has come from fingerprints that anybody sends.
  for (std::uint32_t key = 0; key < audio::kHashKeys; ++key) {
    ASSERT_TRUE(std::isfinite(audiomatch::logChance(key))) << key;
    ASSERT_TRUE(std::isfinite(audiomatch::logSurvival({{0, key}, 1e6f, -1e6f}))) << key;
  }
}

/// Half a minute of short tones, soft in its second half.
audio::AudioDataPtr tones() {
  std::mt19937 random(5);
  std::vector<std::int16_t> samples(std::size_t{30} * audio::kAnalysisRate);
  constexpr std::size_t kTone = 800;
  for (std::size_t begin = 0; begin < samples.size(); begin += kTone) {
    const double step =
        2.0 * M_PI * static_cast<double>(200 + random() % 3500) / audio::kAnalysisRate;
    const double amplitude = begin < samples.size() / 2 ? 10'000.0 : 1'000.0;
    for (std::size_t i = 0; i < kTone; ++i) {
      samples[begin + i] = static_cast<std::int16_t>(
          std::lround(amplitude * std::sin(step * static_cast<double>(i))));
    }
  }
  return audiomatch::toAudio(samples, 1, audio::kAnalysisRate);
}

TEST(RatedFeatures, AreTheFeaturesWithTheLevelsOfTheirPeaks) {
  const audio::AudioDataPtr recording = tones();
  audio::FeatureExtractor extractor;
  ASSERT_TRUE(extractor.init(true) && extractor.loadAudio(recording.get()));
  ASSERT_TRUE(extractor.extractFeatures());
  Features features = extractor.getFeatures();
  audio::sortUnique(features);
  const Rated rated = audiomatch::ratedFeatures(extractor);
  ASSERT_EQ(rated.size(), features.size());
  std::map<bool, std::pair<double, int>> levels;
  std::map<bool, std::pair<double, int>> around;
  for (std::size_t i = 0; i < rated.size(); ++i) {
    ASSERT_EQ(rated[i].feature, features[i]);
    const std::uint32_t second = features[i].startTime * 32 / 1000;
    if (second > 11 && second < 18) continue;  // hears both
    const bool is_soft = second >= 18;
    levels[is_soft].first += static_cast<double>(rated[i].level);
    around[is_soft].first += static_cast<double>(rated[i].around);
    ++levels[is_soft].second;
    ++around[is_soft].second;
  }
  ASSERT_GT(levels[true].second, 100);
  const auto fall = [](std::map<bool, std::pair<double, int>>& of) {
    return of[false].first / of[false].second - of[true].first / of[true].second;
  };
  // A tenth of the amplitude is as much less in both.
  EXPECT_NEAR(fall(levels), std::log(10.0), 0.2);
  EXPECT_NEAR(fall(around), std::log(10.0), 0.2);
}

}  // namespace
