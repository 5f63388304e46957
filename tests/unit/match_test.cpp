#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <thread>

#include "base/logger.h"
#include "match/audio_attribute.h"
#include "match/audio_matcher.h"
#include "match/scoring/match_ranking.h"
#include "support/log_capture.h"
#include "support/music_database.h"
#include "support/test_audio.h"

namespace {

using namespace testing_support;
using Messages = std::vector<std::string>;

TEST(Attributes, AreWalkedInFeatureOrder) {
  const auto hits =
      audio::attributeHits({{10, 7}, {20, 9}, {30, 7}},
                           {{5 << 14 | 12, 7}, {6 << 14 | 10, 7}, {5 << 14 | 25, 9}, {1 << 14, 5}});
  EXPECT_EQ(hits,
            (std::vector<audio::AudioHashHit>{{5, 2}, {6, 0}, {5, 5}, audio::kPlaceholderHit}));
}

TEST(Matcher, FailsWithItsMessagesAndStaysUsable) {
  const audio::AudioDataPtr audio = Recording(1, 1, 9000, 8000).engine();
  const TemporaryFile nothing(databaseBytes({"nothing"}, {}));
  LogCapture capture;
  audio::AudioMatcher matcher;
  EXPECT_FALSE(matcher.extractFeatures());
  EXPECT_FALSE(matcher.loadAudio(nullptr));
  EXPECT_FALSE(matcher.loadAudio(audio.get()));
  EXPECT_FALSE(matcher.matchAudioByFeaturesAndAttributes({}, {{0, 0}}, nullptr));
  EXPECT_FALSE(matcher.matchAudioByFeaturesAndAttributes({{0, 0}}, {}, nullptr));
  EXPECT_EQ(matcher.bestMatchIndex(), -1);
  EXPECT_EQ(capture.messages(), (Messages{"audio data have not loaded.", "input a NULL audio data.",
                                          "feature extractor is NULL.", "audio features is empty.",
                                          "audio attributes is empty."}));
  ASSERT_TRUE(matcher.init(nothing.path()));
  EXPECT_TRUE(matcher.loadAudio(audio.get()) && matcher.extractFeatures());
  EXPECT_FALSE(matcher.getFeatures().empty());
  EXPECT_EQ(matcher.discriminationLevel(), 2);
  EXPECT_FALSE(matcher.matchAudio(audio.get()));
  EXPECT_EQ(matcher.outcome(), audio::MatchOutcome::kNoHits);
  const Messages messages = capture.messages();
  EXPECT_EQ(Messages(messages.end() - 2, messages.end()),
            (Messages{"hit results is empty.", "extract all hits from database failed."}));
}

TEST(Matcher, TellsHowAMatchEnded) {
  using audio::MatchOutcome;
  audio::gLogger.setEnabled(false);
  audio::AudioMatcher matcher;
  EXPECT_EQ(matcher.outcome(), MatchOutcome::kNone);
  const audio::AudioDataPtr audio = Recording(50, 1, 8000 * 4, 8000).engine();
  EXPECT_FALSE(matcher.matchAudio(audio.get()));
  EXPECT_EQ(matcher.outcome(), MatchOutcome::kNoDatabase);

  // The second audio is the first, 1.28 s later in its recording, in part.
  Buckets buckets;
  const std::vector<audio::AudioFeature> features = featuresOf(audio);
  std::vector<audio::AudioFeature> later;
  for (std::size_t i = 0; i < features.size(); i += 4) {
    later.push_back({features[i].startTime + 40, features[i].hashKey});
  }
  addEntries(buckets, 0, features);
  addEntries(buckets, 1, later);
  const TemporaryFile file(databaseBytes({"at its start", "later"}, buckets));
  ASSERT_TRUE(matcher.init(file.path()));
  srand48(1);
  ASSERT_TRUE(matcher.matchAudio(audio.get()));
  EXPECT_EQ(matcher.outcome(), MatchOutcome::kMatched);
  ASSERT_EQ(matcher.candidates().size(), 2u);
  const audio::Match& best = matcher.candidates()[0];
  const audio::Match& second = matcher.candidates()[1];
  EXPECT_EQ(matcher.database()->name(best.audio_index), "at its start");
  EXPECT_EQ(matcher.database()->name(second.audio_index), "later");
  EXPECT_EQ(matcher.database()->name(-1), "");
  EXPECT_NEAR(best.offset, 0, 1);
  EXPECT_NEAR(second.offset, 40, 1);
  EXPECT_NEAR(second.offsetSeconds(), 1.28, 0.032);
  EXPECT_GT(best.matched_num, second.matched_num);
  EXPECT_EQ(matcher.hitCount(), static_cast<std::size_t>(best.hit_count + second.hit_count));
  EXPECT_EQ(static_cast<float>(best.matched_num - second.matched_num) /
                static_cast<float>(best.matched_num + second.matched_num),
            matcher.discrimination());

  const audio::AudioDataPtr silence(audio::AudioData::create(1, 8000, 16000));
  const audio::AudioDataPtr fast(audio::AudioData::create(1, 96000, 96000));
  EXPECT_FALSE(matcher.matchAudio(silence.get()));
  EXPECT_EQ(matcher.outcome(), MatchOutcome::kNoFeatures);
  EXPECT_EQ(matcher.extractionOutcome(), audio::ExtractionOutcome::kSilent);
  EXPECT_TRUE(matcher.candidates().empty());
  EXPECT_EQ(matcher.hitCount(), 0u);
  EXPECT_FALSE(matcher.matchAudio(fast.get()));
  EXPECT_EQ(matcher.extractionOutcome(), audio::ExtractionOutcome::kUnsupportedRate);
  ASSERT_TRUE(matcher.matchAudio(audio.get()));
  EXPECT_FALSE(matcher.matchAudio(nullptr));
  EXPECT_EQ(matcher.outcome(), MatchOutcome::kNoRecording);
  EXPECT_EQ(matcher.extractionOutcome(), audio::ExtractionOutcome::kNotReady);
  EXPECT_FALSE(matcher.matchAudioByFeaturesAndAttributes({}, {{0, 0}}, nullptr));
  EXPECT_EQ(matcher.outcome(), MatchOutcome::kNoFeatures);
  EXPECT_FALSE(matcher.matchAudioByFeaturesAndAttributes({{0, 0}}, {}, nullptr));
  EXPECT_EQ(matcher.outcome(), MatchOutcome::kNoHits);
  EXPECT_FALSE(matcher.matchAudioByFeaturesAndAttributes({{0, 1}}, {{0, 2}}, nullptr));
  EXPECT_EQ(matcher.outcome(), MatchOutcome::kNoAgreement);
  // An audio index from 2^31 on is negative, and no audio.
  for (auto& [key, entries] : buckets) entries = {std::uint64_t{0x80000001} << 14};
  const TemporaryFile beyond(databaseBytes({"one"}, buckets));
  ASSERT_TRUE(matcher.init(beyond.path()));
  EXPECT_FALSE(matcher.matchAudio(audio.get()));
  EXPECT_EQ(matcher.outcome(), MatchOutcome::kNoAgreement);
  audio::gLogger.setEnabled(true);
}

TEST(Matcher, TellsADamagedDatabaseFromALackOfMemory) {
  const audio::AudioDataPtr audio = Recording(50, 1, 8000 * 4, 8000).engine();
  // A bucket that the query asks for claims 1 GiB and has one entry.
  const std::uint32_t key = featuresOf(audio).back().hashKey;
  std::vector<std::uint8_t> bytes = databaseBytes({"damaged"}, {});
  const std::size_t record = 4 + 4 + 8 + 8 + std::size_t{4} * key;
  bytes.resize(record + 4 + 8);
  const std::uint32_t claim = 1u << 27;
  for (std::size_t i = 0; i < 4; ++i)
    bytes[record + i] = static_cast<std::uint8_t>(claim >> (8 * i));
  const TemporaryFile file(bytes);
  LogCapture capture;
  audio::AudioMatcher matcher;
  ASSERT_TRUE(matcher.init(file.path()));
  EXPECT_EQ(matcher.databaseState(), audio::DatabaseState::kCut);
  EXPECT_FALSE(matcher.matchAudio(audio.get()));
  EXPECT_EQ(matcher.outcome(), audio::MatchOutcome::kDamagedDatabase);
  EXPECT_EQ(capture.messages().back(), "out of memory.");
  EXPECT_TRUE(matcher.loadAudio(audio.get()) && matcher.extractFeatures());
}

TEST(Matcher, ForgetsItsHistory) {
  // Noise everywhere, so that draws decide, at a rate that is resampled.
  audio::gLogger.setEnabled(false);
  std::mt19937 random(6);
  Buckets buckets;
  for (std::uint32_t key = 0; key < 1u << 20; key += 3) {
    buckets[key].push_back((random() % 40) << 14 | random() % 3000);
  }
  const TemporaryFile file(databaseBytes(std::vector<std::string>(40, "noise"), buckets));
  const audio::AudioDataPtr query = Recording(50, 2, 11025 * 8, 11025).engine();
  const audio::AudioDataPtr other = Recording(51, 1, 44100 * 3, 44100).engine();
  audio::AudioMatcher matcher;
  ASSERT_TRUE(matcher.init(file.path()));
  const auto answer = [&] {
    EXPECT_TRUE(matcher.matchAudio(query.get()));
    std::vector<std::int32_t> numbers;
    for (const audio::Match& match : matcher.candidates()) {
      numbers.insert(numbers.end(), {match.audio_index, match.matched_num, match.offset});
    }
    for (const auto& feature : matcher.getFeatures()) {
      numbers.push_back(static_cast<std::int32_t>(feature.hashKey));
    }
    return numbers;
  };
  ASSERT_TRUE(matcher.forgetHistory());
  const auto first = answer();
  matcher.matchAudio(other.get());
  EXPECT_NE(answer(), first);
  lrand48();
  ASSERT_TRUE(matcher.forgetHistory());
  EXPECT_EQ(answer(), first);

  // Another matcher, with the database of somebody else and features ready made.
  auto shared = std::make_shared<audio::AudioDatabase>();
  ASSERT_TRUE(shared->load(file.path()));
  audio::AudioMatcher sharing;
  EXPECT_FALSE(sharing.matchFeatures(matcher.getFeatures()));
  EXPECT_EQ(sharing.outcome(), audio::MatchOutcome::kNoDatabase);
  ASSERT_TRUE(sharing.init(shared) && sharing.forgetHistory());
  EXPECT_EQ(sharing.databaseState(), audio::DatabaseState::kWhole);
  EXPECT_FALSE(sharing.matchFeatures({}));
  EXPECT_EQ(sharing.outcome(), audio::MatchOutcome::kNoFeatures);
  ASSERT_TRUE(sharing.matchFeatures(matcher.getFeatures()));
  EXPECT_EQ(sharing.bestMatchName(), matcher.bestMatchName());
  EXPECT_EQ(sharing.candidates()[0].offset, matcher.candidates()[0].offset);

  // Hits that were looked up before come to the same.
  std::vector<audio::AudioHashHit> hits;
  ASSERT_TRUE(shared->extractHits(matcher.getFeatures(), hits));
  audio::AudioMatcher scoring;
  ASSERT_TRUE(scoring.forgetHistory());
  ASSERT_TRUE(sharing.forgetHistory());
  ASSERT_TRUE(scoring.matchHits(matcher.getFeatures(), hits));
  ASSERT_TRUE(sharing.matchFeatures(matcher.getFeatures()));
  EXPECT_EQ(scoring.discrimination(), sharing.discrimination());
  EXPECT_EQ(scoring.bestMatchIndex(), sharing.bestMatchIndex());
  EXPECT_EQ(scoring.hitCount(), hits.size());
  EXPECT_FALSE(scoring.matchHits(matcher.getFeatures(), {}));
  EXPECT_EQ(scoring.outcome(), audio::MatchOutcome::kNoHits);
  EXPECT_FALSE(scoring.matchHits({}, hits));
  EXPECT_EQ(scoring.outcome(), audio::MatchOutcome::kNoFeatures);
  audio::gLogger.setEnabled(true);
}

TEST(Matcher, LevelsByDiscrimination) {
  // Best and second of agreeing hits: 27 and 13 give 0.35, 3 and 1 give 0.5.
  const auto level = [](int best, int second) {
    std::vector<audio::AudioFeature> features = {{0, 1}};
    std::vector<audio::AudioAttribute> attributes;
    for (int i = 0; i < best; ++i) attributes.push_back({8 << 14, 1});
    for (int i = 0; i < second; ++i) attributes.push_back({9 << 14, 1});
    audio::AudioMatcher matcher;
    float discrimination = -1.0f;
    EXPECT_TRUE(matcher.matchAudioByFeaturesAndAttributes(features, attributes, &discrimination));
    EXPECT_EQ(matcher.bestMatchIndex(), 8);
    EXPECT_EQ(discrimination,
              static_cast<float>(best - second) / static_cast<float>(best + second));
    return matcher.discriminationLevel();
  };
  EXPECT_EQ(level(67, 33), 0);  // 0.34
  EXPECT_EQ(level(27, 13), 1);
  EXPECT_EQ(level(149, 51), 1);  // 0.49
  EXPECT_EQ(level(3, 1), 2);
  EXPECT_EQ(level(1, 0), 2);
}

TEST(Matcher, EqualsTheReferenceOverSeveralQueries) {
  // Three references of music; queries are pieces of them, a stranger, silence.
  std::vector<Recording> sources;
  for (const std::uint32_t seed : {50u, 51u, 52u}) sources.emplace_back(seed, 1, 8000 * 12, 8000);
  const std::vector<std::uint8_t> bytes = databaseOf({"zero", "one", "two"}, sources);
  const TemporaryFile file(bytes);
  plain::Log log;
  plain::Database database;
  ASSERT_TRUE(plain::loadDatabase(bytes, database, log));

  std::vector<Recording> queries;
  for (const std::uint32_t seed : {51u, 50u, 99u, 52u})
    queries.emplace_back(seed, 1, 8000 * 6, 8000);
  queries.emplace_back(52, 2, 44100 * 4, 44100);
  queries.emplace_back(1, 1, 9000, 8000);
  std::fill(queries.back().pcm.begin(), queries.back().pcm.end(), std::int16_t{0});

  LogCapture capture;
  audio::AudioMatcher matcher;
  plain::Matcher reference(log);
  ASSERT_TRUE(matcher.init(file.path()) && reference.init(&database));
  Messages names;
  for (const Recording& query : queries) {
    const plain::Audio plain_audio = query.reference(log);
    srand48(1);
    const bool expected = reference.matchAudio(&plain_audio);
    const std::string name = expected ? reference.bestMatchName() : "";
    srand48(1);
    ASSERT_EQ(matcher.matchAudio(query.engine().get()), expected);
    names.push_back(expected ? matcher.bestMatchName() : "");
    ASSERT_EQ(names.back(), name);
    ASSERT_EQ(matcher.discriminationLevel(), reference.level());
    ASSERT_EQ(matcher.bestMatchIndex(), reference.best_match_index);
    ASSERT_EQ(capture.messages(), log);
  }
  EXPECT_EQ(names[0], "one");
  EXPECT_EQ(names[1], "zero");
  EXPECT_EQ(names[3], "two");
  EXPECT_EQ(names[5], "");
}

TEST(Matcher, ThreadsMatchAsOneDoes) {
  audio::gLogger.setEnabled(false);
  std::vector<Recording> sources;
  for (std::uint32_t seed = 50; seed < 54; ++seed) sources.emplace_back(seed, 1, 8000 * 8, 8000);
  const TemporaryFile file(databaseOf({"a", "b", "c", "d"}, sources));
  std::vector<std::string> names(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < names.size(); ++i) {
    threads.emplace_back([&, i] {
      audio::AudioMatcher matcher;
      if (!matcher.init(file.path())) return;
      for (int round = 0; round < 3; ++round) {
        if (matcher.matchAudio(sources[i].engine().get())) names[i] += matcher.bestMatchName();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  audio::gLogger.setEnabled(true);
  EXPECT_EQ(names, (std::vector<std::string>{"aaa", "bbb", "ccc", "ddd"}));
}

}  // namespace
