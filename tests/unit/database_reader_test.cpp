// The reader that passes over a database: what it hands out, and its faults
// against what the loader makes of the same bytes.

#include "match/database/database_reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "match/database/audio_database.h"
#include "support/broken_source.h"
#include "support/database_bytes.h"
#include "support/log_capture.h"

namespace {

using namespace testing_support;
using audio::DatabaseState;
using Kind = audio::DatabaseFault::Kind;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kHeader = 4 + 10 + 16 + 8;

/// What a reading came to.
struct Outcome {
  DatabaseState loading;
  std::optional<audio::DatabaseFault> fault;
  std::vector<std::string> names;
  Buckets buckets;
};

Outcome readAll(audio::ByteSource& source) {
  audio::DatabaseReader reader(source);
  Outcome outcome;
  std::vector<std::uint64_t> entries;
  if (reader.readNames()) {
    for (std::uint32_t key = 0; reader.nextBucket(entries); ++key) {
      if (!entries.empty()) outcome.buckets[key] = entries;
    }
  }
  EXPECT_FALSE(reader.nextBucket(entries));
  outcome.loading = reader.loading();
  outcome.fault = reader.fault();
  outcome.names = reader.names();
  return outcome;
}

Outcome readAll(const Bytes& bytes) {
  BrokenSource source(bytes, bytes.size(), false, true);
  return readAll(source);
}

void expectFault(const Bytes& bytes, Kind kind, std::uint64_t offset, std::uint64_t number) {
  const Outcome outcome = readAll(bytes);
  ASSERT_TRUE(outcome.fault);
  EXPECT_EQ(outcome.fault->kind, kind);
  EXPECT_EQ(outcome.fault->offset, offset);
  EXPECT_EQ(outcome.fault->number, number);
}

/// The state that the loader comes to.
DatabaseState loadedState(const Bytes& bytes) {
  const LogCapture capture;
  BrokenSource source(bytes, bytes.size(), false, true);
  audio::AudioDatabase database;
  database.load(source);
  return database.state();
}

const std::vector<std::string> kNames = {"first", "second name"};

TEST(DatabaseReader, GivesWhatWasWritten) {
  // One bucket is longer than the pieces in which entries are read.
  const std::vector<std::uint64_t> many(200'000, 16384 + 5);
  const Buckets buckets = {{0, {1, 2}}, {7, many}, {1048575, {9, 16384}}};
  const Outcome outcome = readAll(databaseBytes(kNames, buckets));
  EXPECT_FALSE(outcome.fault);
  EXPECT_EQ(outcome.loading, DatabaseState::kWhole);
  EXPECT_EQ(outcome.names, kNames);
  EXPECT_EQ(outcome.buckets, buckets);
}

TEST(DatabaseReader, TellsWhereTheFileEndsAndWhatTheLoaderMakesOfIt) {
  const Bytes whole = databaseBytes(kNames, {{0, {1, 2}}, {2, {5, 6, 7}}, {1048575, {9}}});
  std::vector<std::size_t> ends = {kHeader + 70'000, 2'000'000};
  for (std::size_t end = 0; end < kHeader + 60; ++end) ends.push_back(end);
  for (std::size_t cut = 1; cut < 16; ++cut) ends.push_back(whole.size() - cut);
  for (const std::size_t end : ends) {
    SCOPED_TRACE(testing::Message() << "cut at " << end);
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(end));
    const Outcome outcome = readAll(cut);
    EXPECT_EQ(outcome.loading, loadedState(cut));
    ASSERT_TRUE(outcome.fault);
    EXPECT_LE(outcome.fault->offset, end);
    BrokenSource broken(whole, end, true, false);
    const Outcome failed = readAll(broken);
    EXPECT_EQ(failed.loading, DatabaseState::kReadFailed);
    EXPECT_EQ(failed.fault->kind, Kind::kReadFailed);
    EXPECT_EQ(failed.buckets, outcome.buckets);
  }
  const auto cut_at = [&](std::size_t end) {
    return Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(end));
  };
  expectFault(cut_at(3), Kind::kNameCount, 0, 0);
  expectFault(cut_at(17), Kind::kName, 14, 1);
  expectFault(cut_at(kHeader - 1), Kind::kHeader, kHeader - 8, 0);
  expectFault(cut_at(kHeader + 19), Kind::kBucket, kHeader, 0);
  expectFault(cut_at(kHeader + 21), Kind::kBucketCount, kHeader + 20, 1);
  expectFault(cut_at(whole.size() - 12), Kind::kBucketCount, whole.size() - 12, 1048575);
  expectFault(cut_at(whole.size() - 8), Kind::kBucket, whole.size() - 12, 1048575);
}

TEST(DatabaseReader, BelievesNoCountAndNoIndex) {
  const Bytes whole = databaseBytes(kNames, {{3, {1, 16384 + 2, 2 * 16384}}, {9, {7}}});
  const std::size_t bucket = kHeader + 3 * 4;
  expectFault(whole, Kind::kAudio, bucket + 4 + 16, 3);
  EXPECT_EQ(readAll(whole).loading, DatabaseState::kWhole);
  EXPECT_EQ(readAll(whole).buckets.size(), 2u);
  Bytes longer = databaseBytes(kNames, {});
  longer.push_back(0);
  expectFault(longer, Kind::kBytesLeft, longer.size() - 1, 0);
  EXPECT_EQ(readAll(longer).loading, DatabaseState::kWhole);

  // Any four bytes may be damaged: never more than is there, and as loaded.
  std::mt19937 random(3);
  for (const std::uint32_t number : {1u, 3'000'000u, 134'217'728u, 134'217'729u, UINT32_MAX}) {
    for (const std::size_t at : {std::size_t{0}, std::size_t{4}, kHeader - 8, kHeader - 4, kHeader,
                                 bucket, kHeader + 4 * (random() % 1000)}) {
      SCOPED_TRACE(testing::Message() << number << " at " << at);
      Bytes damaged = whole;
      std::memcpy(&damaged[at], &number, sizeof number);
      EXPECT_EQ(readAll(damaged).loading, loadedState(damaged));
    }
  }
}

}  // namespace
