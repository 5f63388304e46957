// How candidates are scored: agreement on an offset, groups of hits, ranking, draws.

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "match/audio_attribute.h"
#include "match/audio_matcher.h"
#include "match/scoring/hit_groups.h"
#include "match/scoring/match_ranking.h"
#include "match/scoring/offset_consensus.h"
#include "match/scoring/offset_sort.h"
#include "support/log_capture.h"
#include "support/music_database.h"
#include "support/test_audio.h"

namespace {

using namespace testing_support;

std::vector<plain::Hit> plainHits(const std::vector<std::int32_t>& offsets) {
  std::vector<plain::Hit> hits;
  for (const std::int32_t offset : offsets) hits.push_back({0, offset});
  std::sort(hits.begin(), hits.end(), [](auto a, auto b) { return a.time_offset < b.time_offset; });
  return hits;
}

/// Both searches from the same seed, and the same number of draws.
void expectSameCount(const std::vector<std::int32_t>& offsets, int seed, std::uint32_t cap = 60) {
  srand48(seed);
  const std::uint32_t expected = plain::countConsistentHits(plainHits(offsets), cap);
  const long next = lrand48();
  srand48(seed);
  audio::RandomDraws draws;
  ASSERT_EQ(audio::countConsistentHits(offsets, cap, draws).count, expected);
  ASSERT_EQ(lrand48(), next) << "another number of draws";
}

TEST(Consensus, EverySmallSet) {
  // All multisets that matter of up to five offsets around the tolerance.
  const std::int32_t values[] = {0, 3, 4, 5, 8, 9};
  for (int size = 1; size <= 5; ++size) {
    const int codes = static_cast<int>(std::pow(6, size));
    for (int code = 0; code < codes; ++code) {
      std::vector<std::int32_t> offsets;
      for (int rest = code, i = 0; i < size; ++i, rest /= 6) offsets.push_back(values[rest % 6]);
      expectSameCount(offsets, code % 7);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(Consensus, RandomAndAcrossTheEndsOfTheRange) {
  std::mt19937 random(2);
  constexpr std::int32_t kMost = INT32_MAX, kLeast = INT32_MIN;
  const std::vector<std::int32_t> ends = {kMost,      kMost - 1,  kMost - 4, kLeast, kLeast + 1,
                                          kLeast + 3, kLeast + 5, -1,        0};
  for (int round = 0; round < 400; ++round) {
    std::vector<std::int32_t> offsets(1 + random() % (round % 10 == 0 ? 3000 : 150));
    const std::int32_t spread = static_cast<std::int32_t>(1 + random() % 20000);
    for (std::int32_t& offset : offsets) {
      offset = round % 3 == 0 ? ends[random() % ends.size()]
                              : static_cast<std::int32_t>(random() % 32768) % spread - 500;
    }
    expectSameCount(offsets, round, round % 5 == 0 ? static_cast<std::uint32_t>(random() % 4) : 60);
    if (HasFatalFailure()) return;
  }
}

TEST(Consensus, WorkedExamples) {
  const auto agreement = [](std::vector<std::int32_t> offsets) {
    audio::RandomDraws draws;
    return audio::countConsistentHits(std::move(offsets), 60, draws);
  };
  EXPECT_EQ(agreement({42}).count, 1u);
  EXPECT_EQ(agreement({42}).offset, 42);
  EXPECT_EQ(agreement(std::vector<std::int32_t>(500, -7)).count, 500u);
  EXPECT_EQ(agreement(std::vector<std::int32_t>(500, -7)).offset, -7);
  // 2^31 apart is a disagreement, 2 apart across the end an agreement.
  EXPECT_EQ(agreement({0, INT32_MIN}).count, 1u);
  EXPECT_EQ(agreement({INT32_MAX, INT32_MIN + 1}).count, 2u);
  // Offsets 0, 4 and 5: whether 4 or 5 comes first decides between 3 and 2.
  const audio::OffsetConsensus consensus({5, 0, 4});
  EXPECT_EQ(consensus.score(0).count, 2u);
  EXPECT_EQ(consensus.score(0).error, 8u);
  EXPECT_EQ(consensus.score(1).count, 3u);
  EXPECT_EQ(consensus.score(1).error, 5u);
  EXPECT_EQ(consensus.score(2).count, 2u);
  EXPECT_EQ(consensus.score(2).error, 5u);
}

TEST(Offsets, SortAsTheStandardDoes) {
  std::mt19937 random(4);
  for (const std::size_t size : {0u, 1u, 63u, 64u, 65u, 1000u}) {
    for (const std::uint32_t range : {1u, 2u, 255u, 256u, 257u, 65536u, 40000000u, 0xFFFFFFFFu}) {
      std::vector<std::int32_t> offsets(size);
      for (auto& offset : offsets) offset = static_cast<std::int32_t>(random() % range - range / 2);
      std::vector<std::int32_t> expected = offsets;
      std::sort(expected.begin(), expected.end());
      audio::sortOffsets(offsets);
      ASSERT_EQ(offsets, expected) << size << " of " << range;
    }
  }
}

std::vector<audio::AudioHashHit> randomHits(std::mt19937& random, std::size_t size,
                                            const std::vector<std::int32_t>& audios) {
  std::vector<audio::AudioHashHit> hits(size);
  for (auto& hit : hits) {
    hit = {audios[random() % audios.size()], static_cast<std::int32_t>(random() % 300)};
  }
  return hits;
}

TEST(Groups, CountingAndSortingAgreeWithTheRule) {
  std::mt19937 random(3);
  std::vector<std::int32_t> dense(60);
  for (int i = 0; i < 60; ++i) dense[static_cast<std::size_t>(i)] = i - 1;
  const std::vector<std::int32_t> sparse = {-1,        0,  5,    1000000, INT32_MAX,
                                            INT32_MIN, -2, 4095, 4096,    5000};
  const std::vector<std::int32_t> growing = {0, 3000, 4094, 4095, 4096, 4300};
  for (const auto& audios : {dense, sparse, growing}) {
    for (const std::size_t size : {1u, 2u, 30u, 500u, 6000u}) {
      const auto hits = randomHits(random, size, audios);
      std::map<std::int32_t, std::vector<std::int32_t>> by_audio;
      for (const auto& hit : hits) by_audio[hit.audio_index].push_back(hit.time_offset);
      std::vector<std::pair<std::int32_t, std::vector<std::int32_t>>> expected(by_audio.begin(),
                                                                               by_audio.end());
      std::stable_sort(expected.begin(), expected.end(), [](const auto& a, const auto& b) {
        return a.second.size() > b.second.size();
      });
      if (expected.size() > 20) expected.resize(20);
      const auto groups = audio::largestGroups(hits, 20);
      ASSERT_EQ(groups.size(), expected.size());
      for (std::size_t i = 0; i < groups.size(); ++i) {
        ASSERT_EQ(groups[i].audio_index, expected[i].first);
        ASSERT_EQ(groups[i].offsets, expected[i].second);
      }
    }
  }
  EXPECT_TRUE(audio::largestGroups({}, 20).empty());
}

TEST(Ranking, ScoresAsTheRuleDoesDrawForDraw) {
  // Through the matcher that scores attributes: random keys leave placeholders,
  // audio indices reach over the whole 32-bit range.
  std::mt19937 random(9);
  for (int round = 0; round < 120; ++round) {
    std::vector<audio::AudioFeature> features(1 + random() % 60);
    std::vector<audio::AudioAttribute> attributes;
    for (auto& feature : features) {
      feature = {static_cast<std::uint32_t>(random() % 40),
                 static_cast<std::uint32_t>(random() % 9)};
      for (auto n = random() % 12; n > 0; --n) {
        const auto audio = static_cast<std::uint32_t>(random() % 30 - 1)
                           << (round % 4 == 0 ? 27 : 0);
        const auto key = random() % 40 == 0 ? 99u : feature.hashKey;
        attributes.push_back({std::uint64_t{audio} << 14 | random() % 60, key});
      }
    }
    LogCapture capture;
    plain::Log log;
    plain::Matcher reference(log);
    audio::AudioMatcher matcher;
    float expected = -1.0f;
    float discrimination = -1.0f;
    srand48(round);
    const bool matched = reference.matchByFeaturesAndAttributes(
        asPlain<plain::Feature>(features), asPlain<plain::Attribute>(attributes), &expected);
    const long next = lrand48();
    srand48(round);
    ASSERT_EQ(matcher.matchAudioByFeaturesAndAttributes(features, attributes, &discrimination),
              matched);
    ASSERT_EQ(matcher.bestMatchIndex(), reference.best_match_index);
    ASSERT_EQ(discrimination, expected);
    ASSERT_EQ(lrand48(), next) << "another number of draws";
    ASSERT_EQ(capture.messages(), log);
  }
}

TEST(Draws, AreThoseOfTheLibraryFromItsFirstState) {
  unsigned short start[3] = {0, 0, 0};
  seed48(start);
  audio::RandomDraws own;
  audio::RandomDraws process;
  own.restart();
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(own.next(), process.next()) << i;
  own.restart();
  seed48(start);
  EXPECT_EQ(own.next(), static_cast<std::uint32_t>(lrand48()));
}

}  // namespace
