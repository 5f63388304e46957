// Which of an audio's features become database entries.

#include "tool/keeping/entry_selection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

namespace {

using audiomatch::splitMix64;
using Features = std::vector<audio::AudioFeature>;
using Counts = std::map<std::uint32_t, int>;

Features selected(Features features, std::size_t most) {
  audiomatch::selectEntries(features, most);
  return features;
}

/// As many different features in each second as told.
Features featuresPerSecond(const std::vector<std::uint32_t>& counts) {
  Features features;
  for (std::uint32_t second = 0; second < counts.size(); ++second) {
    for (std::uint32_t i = 0; i < counts[second]; ++i) {
      features.push_back({second * 32 + i % 32, 1000 + i});
    }
  }
  return features;
}

Counts countPerSecond(const Features& features) {
  Counts counts;
  for (const audio::AudioFeature& feature : features) ++counts[feature.startTime / 32];
  return counts;
}

TEST(EntrySelection, KeepsEachFeatureOnceUpToTheCap) {
  const Features features = {{5, 20}, {3, 20}, {5, 20}, {4, 10}};
  const Features each_once = {{4, 10}, {3, 20}, {5, 20}};
  EXPECT_EQ(selected(features, 3), each_once);
  EXPECT_EQ(selected(features, audiomatch::kEveryEntry), each_once);
  EXPECT_EQ(selected(features, 2).size(), 2u);
  EXPECT_TRUE(selected({}, 3).empty());
}

TEST(EntrySelection, SpreadsOverTheSeconds) {
  const Features even = featuresPerSecond({10, 20, 30, 40});
  EXPECT_EQ(countPerSecond(selected(even, 20)), (Counts{{0, 5}, {1, 5}, {2, 5}, {3, 5}}));
  // What a sparse second can't give, the others do.
  const Features sparse = featuresPerSecond({3, 100, 0, 100});
  EXPECT_EQ(countPerSecond(selected(sparse, 43)), (Counts{{0, 3}, {1, 20}, {3, 20}}));
}

TEST(EntrySelection, ChoosesByHashWithinASecond) {
  // The published generator's first two outputs from seed 1234567.
  EXPECT_EQ(splitMix64(1234567), 6457827717110365317u);
  EXPECT_EQ(splitMix64(1234567 + 0x9E3779B97F4A7C15u), 3203168211198807973u);
  // Hashes, computed apart, in units of 10^18: (0,10) 6.2, (31,10) 2.5,
  // (0,20) 12.4, (31,20) 6.7, (0,30) 5.5, (31,30) 10.8.
  const Features features = {{0, 10}, {31, 10}, {0, 20}, {31, 20}, {0, 30}, {31, 30}};
  EXPECT_EQ(selected(features, 1), (Features{{31, 10}}));
  EXPECT_EQ(selected(features, 4), (Features{{0, 10}, {31, 10}, {31, 20}, {0, 30}}));
}

TEST(EntrySelection, DependsOnTheFeaturesAndNotOnTheirOrder) {
  Features features = featuresPerSecond({70, 5, 60, 90, 12});
  const Features expected = selected(features, 60);
  std::shuffle(features.begin(), features.end(), std::mt19937(7));
  EXPECT_EQ(selected(features, 60), expected);
}

}  // namespace
