// Which audios are examined, and what is recognised by that.

#include "tool/recognition/recogniser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "base/logger.h"
#include "tool/recognition/agreement_sieve.h"

namespace {

using audio::AudioHashHit;
using audiomatch::AgreementSieve;
using audiomatch::Answer;
using Hits = std::vector<AudioHashHit>;
using Agreeing = std::vector<std::pair<std::int32_t, std::int32_t>>;

/// Audio and most agreeing hits, by comparing each hit with each.
Agreeing plainly(const Hits& hits, std::int32_t least) {
  std::map<std::int32_t, std::int32_t> most;
  for (const AudioHashHit& pivot : hits) {
    const auto agreeing = std::ranges::count_if(hits, [&](const AudioHashHit& hit) {
      return hit.audio_index == pivot.audio_index &&
             std::abs(hit.time_offset - pivot.time_offset) <= 4;
    });
    most[pivot.audio_index] =
        std::max(most[pivot.audio_index], static_cast<std::int32_t>(agreeing));
  }
  Agreeing audios;
  for (const auto& each : most) {
    if (each.second >= least) audios.push_back(each);
  }
  std::ranges::stable_sort(audios, std::greater(), &Agreeing::value_type::second);
  return audios;
}

Agreeing sieved(const Hits& hits, std::int32_t least) {
  Agreeing audios;
  for (const auto& each : AgreementSieve(hits).audiosWith(least)) {
    audios.emplace_back(each.audio_index, each.agreeing);
  }
  return audios;
}

TEST(AgreementSieve, FindsWhatComparingAllFinds) {
  std::mt19937 random(3);
  for (int round = 0; round < 300; ++round) {
    // From nearly all in one cell to nearly none, on both sides of the audios' starts.
    const auto audios = 1 + random() % 40;
    const auto frames = 1 + random() % (round % 3 == 0 ? 16'384 : 60);
    Hits hits(random() % 400);
    for (AudioHashHit& hit : hits) {
      hit.audio_index = static_cast<std::int32_t>(random() % audios);
      hit.time_offset =
          static_cast<std::int32_t>(random() % frames) - static_cast<std::int32_t>(frames / 2);
    }
    for (std::int32_t least = 1; least < 9; ++least) {
      ASSERT_EQ(sieved(hits, least), plainly(hits, least)) << round << " " << least;
    }
  }
  // More than a byte counts, in one cell and across two.
  Hits many(700, {5, 16});
  std::fill(many.begin() + 350, many.end(), AudioHashHit{5, 15});
  many.resize(1000, {6, -1});
  Hits beside(298, {0, 15});
  beside.resize(301, {0, 16});
  for (const std::int32_t least : {200, 259, 299, 300, 301, 302, 700, 701}) {
    EXPECT_EQ(sieved(many, least), plainly(many, least)) << least;
    EXPECT_EQ(sieved(beside, least), plainly(beside, least)) << least;
  }
}

/// A collection in which a recording has hits.
class Collection {
 public:
  explicit Collection(std::size_t audios) : names_(audios) {
    for (std::size_t i = 0; i < audios; ++i) names_[i] = "track " + std::to_string(i);
    audio::gLogger.setEnabled(false);
  }
  ~Collection() { audio::gLogger.setEnabled(true); }

  void rename(std::size_t audio, const std::string& name) { names_[audio] = name; }

  /// Hits that agree, and others at places far from each other.
  void add(std::int32_t audio, int agreeing, int others) {
    for (int i = 0; i < agreeing; ++i) found_.hits.push_back({audio, 70 + i % 5});
    for (int i = 0; i < others; ++i) found_.hits.push_back({audio, 1000 + 20 * i});
  }

  Answer judge(const audiomatch::Thresholds& thresholds = audiomatch::kThresholds) {
    found_.names = std::make_shared<audiomatch::ReferenceNames>(names_, 0);
    return audiomatch::judgeHits(std::vector<audio::AudioFeature>(500), found_, thresholds);
  }

 private:
  std::vector<std::string> names_;
  audiomatch::FoundHits found_;
};

/// So many audios, each but numbers 7 and 8 with more hits by chance than the right one has.
Collection withChance(std::int32_t audios, int hits = 40) {
  Collection collection(static_cast<std::size_t>(audios));
  for (std::int32_t i = 0; i < audios; ++i) {
    if (i != 7 && i != 8) collection.add(i, 3, hits);
  }
  return collection;
}

TEST(Recogniser, FindsWhatHasFewHitsThatAgree) {
  Collection collection = withChance(30);
  collection.add(7, 15, 10);
  const Answer answer = collection.judge();
  EXPECT_EQ(answer.code, audiomatch::ExitCode::kSuccess);
  ASSERT_TRUE(answer.verdict.recognised);
  EXPECT_EQ(answer.verdict.candidates.size(), 20u);
  EXPECT_EQ(answer.verdict.candidates[0].name, "track 7");
  EXPECT_EQ(answer.verdict.candidates[0].agreeing, 15);
  EXPECT_EQ(answer.verdict.candidates[0].hits, 25);
  EXPECT_EQ(answer.verdict.candidates[1].agreeing, 3);
  EXPECT_EQ(answer.hits, 28u * 43 + 25);
  EXPECT_EQ(answer.verdict.candidates[0].offset, 72);
  EXPECT_EQ(answer.level, 0) << "the engine didn't examine it";
}

/// What recognises among all is judged by all, those with few hits, too.
TEST(Recogniser, AsksForALeadBeforeAllOthers) {
  for (const auto& [agreeing, rivals, recognised] :
       {std::tuple{14, 6, true}, {14, 7, false}, {12, 3, true}, {11, 3, false}, {27, 13, true}}) {
    Collection collection = withChance(40);
    collection.add(7, agreeing, 10);
    collection.add(8, rivals, 0);
    const Answer answer = collection.judge();
    EXPECT_EQ(answer.verdict.recognised, recognised) << agreeing << " " << rivals;
    EXPECT_EQ(answer.code == audiomatch::ExitCode::kSuccess, recognised);
  }
  // A rival counts as it is, however many other hits hide it from a search by lots.
  Collection hidden = withChance(60, 2100);
  hidden.add(7, 30, 0);
  hidden.add(8, 29, 2000);
  EXPECT_FALSE(hidden.judge().verdict.recognised);
  // One with less than a third matters where more of a lead is asked for.
  Collection far = withChance(40);
  far.add(7, 30, 0);
  far.add(8, 9, 0);
  EXPECT_TRUE(far.judge({10, 0.69}).verdict.recognised);
  EXPECT_FALSE(far.judge({10, 0.7}).verdict.recognised);
  EXPECT_FALSE(far.judge({10, 1.0}).verdict.recognised);
  // Another audio of the same name is no rival, one without a name no candidate.
  Collection parts = withChance(30);
  parts.add(7, 14, 10);
  parts.add(8, 10, 0);
  EXPECT_FALSE(parts.judge().verdict.recognised);
  parts.rename(8, "track 7");
  EXPECT_TRUE(parts.judge().verdict.recognised);
  parts.rename(7, "");
  parts.rename(8, "");
  EXPECT_FALSE(parts.judge().verdict.recognised);
}

/// Where the engine has examined every audio, its word stands.
TEST(Recogniser, LooksNoFurtherThanThereAreAudios) {
  for (const std::int32_t audios : {19, 20, 21, 25}) {
    Collection collection = withChance(audios);
    collection.add(7, 14, 50);
    collection.add(8, 6, 10);
    EXPECT_EQ(collection.judge().verdict.recognised, audios > 20) << audios;
  }
}

TEST(Recogniser, BearsAudiosThatADamagedStoreNames) {
  Collection collection = withChance(30);
  collection.add(1'000'000, 0, 39);
  collection.add(7, 15, 10);
  EXPECT_TRUE(collection.judge().verdict.recognised);
  collection.add(-3, 40, 0);
  collection.add(1'000'000, 40, 0);
  EXPECT_EQ(collection.judge().code, audiomatch::ExitCode::kFailure);
}

}  // namespace
