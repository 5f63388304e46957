// A database file from anybody: loaded, asked for names, buckets and the hits of
// features, and matched against. What a sound database holds has to be found
// again.
//
// Input: u8 mode (bit 0 the bytes are the file as they stand instead of a
// CompactDatabase; bit 1 match a recording too; bit 2 load a second time), u8
// features, each a u32 key and a u16 time, then the file.

#include <optional>

#include "fuzz/compact_database.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/known_recording.h"
#include "fuzz/memory_file.h"
#include "match/audio_matcher.h"
#include "match/database/audio_database.h"
#include "match/scoring/match_ranking.h"

namespace {

using audiofuzz::recording;
using audiofuzz::recordingFeatures;
using Features = std::vector<audio::AudioFeature>;

constexpr std::uint64_t kMostHits = std::uint64_t{1} << 16;
constexpr std::uint64_t kMostMissingHits = std::uint64_t{1} << 24;  // then it is an error

void checkContents(const audio::AudioDatabase& database,
                   const audiofuzz::CompactDatabase& expected) {
  FUZZ_REQUIRE(database.audioCount() == expected.names.size());
  for (std::size_t i = 0; i < expected.names.size(); ++i) {
    FUZZ_REQUIRE(database.audioName(static_cast<std::int32_t>(i)) == expected.names[i]);
  }
  for (const auto& [key, entries] : expected.buckets) {
    const auto bucket = database.bucket(key);
    FUZZ_REQUIRE(bucket.stored == entries.size() && bucket.count == entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) FUZZ_REQUIRE(bucket[i] == entries[i]);
  }
}

/// Looks features up and scores what is found, unless a cut bucket claims so
/// much that it would only take time. Returns whether it did.
bool lookUp(const audio::AudioDatabase& database, const Features& features) {
  std::uint64_t total = 0, missing = 0;
  for (const audio::AudioFeature& feature : features) {
    const auto bucket = database.bucket(feature.hashKey);
    FUZZ_REQUIRE(bucket.stored <= bucket.count);
    total += bucket.count;
    missing += bucket.count - bucket.stored;
  }
  std::vector<audio::AudioHashHit> hits;
  try {
    if (total > kMostHits && missing <= kMostMissingHits) return false;
    FUZZ_REQUIRE(database.extractHits(features, hits) == (total > 0));
  } catch (const audio::DamagedDatabase&) {
    FUZZ_REQUIRE(missing > kMostMissingHits);
    return false;
  }
  FUZZ_REQUIRE(hits.size() == total);
  audio::RandomDraws draws;
  const std::vector<audio::Match> matches = audio::rankMatches(hits, draws);
  FUZZ_REQUIRE(matches.size() <= 20 && matches.empty() == hits.empty());
  for (const audio::Match& match : matches) {
    FUZZ_REQUIRE(match.matched_num >= 0 && match.matched_num <= matches[0].matched_num);
    FUZZ_REQUIRE(match.matched_ratio >= 0.0 && match.matched_ratio <= 1.0);
  }
  return true;
}

void match(const char* path, bool loads) {
  audio::AudioMatcher matcher;
  FUZZ_REQUIRE(matcher.init(path) == loads);
  if (!loads || !matcher.matchAudio(&recording())) return;
  FUZZ_REQUIRE(matcher.bestMatchIndex() >= 0 && matcher.hitCount() > 0);
  FUZZ_REQUIRE(matcher.discrimination() >= 0.0f && matcher.discrimination() <= 1.0f);
  matcher.bestMatchName();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static audiofuzz::MemoryFile file;
  audiofuzz::beginRun(data, size);
  audiofuzz::FuzzInput input(data, size);
  const std::uint8_t mode = input.u8();
  Features features(input.u8());
  for (audio::AudioFeature& feature : features) {
    feature.hashKey = input.u32();
    feature.startTime = input.u16();
  }
  std::optional<audiofuzz::CompactDatabase> compact;
  if ((mode & 1) == 0) {
    compact.emplace(input, audiofuzz::recordingKeys());
    for (const auto& [key, entries] : compact->buckets) features.push_back({key & 1023, key});
    file.assign(compact->file);
  } else {
    file.assign(input.rest());
  }

  audio::AudioDatabase database;
  const bool loads = database.load(file.path().c_str());
  if (compact && compact->honest) {
    FUZZ_REQUIRE(loads);
    checkContents(database, *compact);
  }
  for (std::int32_t i = -1; i <= static_cast<std::int32_t>(database.audioCount()); ++i) {
    database.audioName(i);
  }
  lookUp(database, features);
  if (lookUp(database, recordingFeatures()) && (mode & 2) != 0) match(file.path().c_str(), loads);
  if ((mode & 4) != 0) FUZZ_REQUIRE(database.load(file.path().c_str()) == loads);
  return 0;
}
