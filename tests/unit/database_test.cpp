// Hostile and truncated database files, held against the plain reader.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <fstream>
#include <random>
#include <stdexcept>
#include <thread>

#include "match/database/audio_database.h"
#include "reference/plain_engine.h"
#include "support/broken_source.h"
#include "support/database_bytes.h"
#include "support/log_capture.h"

namespace {

using namespace testing_support;
using Messages = std::vector<std::string>;

/// Loads the bytes with both readers and compares result, messages, names and
/// the buckets of `keys`.
void expectSameDatabase(const std::vector<std::uint8_t>& bytes,
                        const std::vector<std::uint32_t>& keys) {
  plain::Log log;
  plain::Database expected;
  const bool loads = plain::loadDatabase(bytes, expected, log);
  const TemporaryFile file(bytes);
  LogCapture capture;
  audio::AudioDatabase database;
  ASSERT_EQ(database.load(file.path()), loads);
  ASSERT_EQ(capture.messages(), log);
  if (!loads) return;
  ASSERT_EQ(database.audioCount(), expected.names.size());
  for (std::size_t i = 0; i < expected.names.size(); ++i) {
    ASSERT_EQ(database.audioName(static_cast<std::int32_t>(i)), expected.names[i]);
  }
  for (const std::uint32_t key : keys) {
    const audio::Bucket bucket = database.bucket(key);
    ASSERT_EQ(bucket.count, expected.buckets[key].size()) << "bucket " << key;
    for (std::size_t i = 0; i < std::min<std::size_t>(bucket.count, 1000); ++i) {
      ASSERT_EQ(bucket[i], expected.buckets[key][i]) << "bucket " << key << ", entry " << i;
    }
  }
}

TEST(Database, DecodesEntriesAndNames) {
  const TemporaryFile file(databaseBytes({"abc", std::string("ab\0cd", 5), ""},
                                         {{7, {82020, 82020 | 0xFFFFull << 46}}}));
  audio::AudioDatabase database;
  ASSERT_TRUE(database.load(file.path()));
  std::vector<audio::AudioHashHit> hits(5);
  ASSERT_TRUE(database.extractHits({{40, 7}, {0, 8}, {0, 4000000000u}}, hits));
  EXPECT_EQ(hits, (std::vector<audio::AudioHashHit>{{5, 60}, {5, 60}}));
  LogCapture capture;
  EXPECT_EQ(database.audioName(1), "ab");
  EXPECT_EQ(database.audioName(-1), "");
  EXPECT_EQ(database.audioName(3), "");
  EXPECT_FALSE(database.extractHits({{40, 6}}, hits));
  EXPECT_TRUE(hits.empty());
  EXPECT_FALSE(database.load(nullptr));
  EXPECT_FALSE(database.load("/no/such/file"));
  EXPECT_EQ(capture.messages(),
            (Messages{"\n###### Best Match is ab.\n", "\n###### Best Match is .\n",
                      "hit results is empty.", "input a NULL db_path.",
                      "can not open db file /no/such/file."}));
}

TEST(Database, EndsAnywhere) {
  const std::vector<std::uint8_t> whole = databaseBytes(
      {"first", "second name"}, {{0, {1, 2}}, {2, {0x1122334455667788, 5, 6}}, {1048575, {9}}});
  // Through the header, the names and the first buckets byte by byte, and at
  // the end, where the last bucket's count and entry stand.
  const std::size_t start = 4 + 10 + 16 + 8;
  std::vector<std::size_t> ends = {whole.size(), start + 1000};
  for (std::size_t end = 0; end < start + 60; ++end) ends.push_back(end);
  for (std::size_t cut = 1; cut < 16; ++cut) ends.push_back(whole.size() - cut);
  for (const std::size_t end : ends) {
    SCOPED_TRACE(testing::Message() << "cut at " << end);
    expectSameDatabase({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(end)},
                       {0, 1, 2, 3, 1048575});
    if (HasFatalFailure()) return;
  }
}

TEST(Database, CountsThatPromiseTooMuch) {
  const auto with = [](std::size_t at, std::uint32_t number, std::size_t keep) {
    std::vector<std::uint8_t> bytes = databaseBytes({"name"}, {{0, {1, 2}}});
    for (std::size_t i = 0; i < 4; ++i)
      bytes[at + i] = static_cast<std::uint8_t>(number >> (8 * i));
    bytes.resize(keep);
    return bytes;
  };
  constexpr std::size_t kTable = 4 + 9 + 8;
  for (const std::uint32_t number : {1u, 2u, 5u, 3000000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    SCOPED_TRACE(number);
    expectSameDatabase(with(0, number, 100), {0});
    expectSameDatabase(with(4, number, 100), {0});
    expectSameDatabase(with(9 + 4, number, 100), {0});
  }
  // 1 GiB of entries and one more, neither of which the file has got.
  expectSameDatabase(with(kTable, 3, kTable + 4 + 8 + 3), {0, 1});
  expectSameDatabase(with(kTable, 134217729, kTable + 12), {});
  const TemporaryFile file(with(kTable, 134217728, kTable + 12));
  audio::AudioDatabase database;
  rusage before{};
  rusage after{};
  getrusage(RUSAGE_SELF, &before);
  ASSERT_TRUE(database.load(file.path()));
  EXPECT_EQ(database.bucket(0).count, 134217728u);
  EXPECT_EQ(database.bucket(0)[134217727], 0u);
  // Not to be had by asking for them either.
  std::vector<audio::AudioHashHit> hits;
  EXPECT_THROW(database.extractHits({{0, 0}}, hits), audio::DamagedDatabase);
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 100 * 1024);  // KiB
}

TEST(Database, RandomDamage) {
  std::map<std::uint32_t, std::vector<std::uint64_t>> buckets;
  std::mt19937 random(5);
  for (int i = 0; i < 60; ++i) buckets[random() % 64].push_back(random() * 4294967296u + random());
  std::vector<std::uint8_t> whole = databaseBytes({"a", "bc", "def"}, buckets);
  whole.resize(900);
  std::vector<std::uint32_t> keys(80);
  for (std::uint32_t i = 0; i < keys.size(); ++i) keys[i] = i;
  for (int round = 0; round < 60; ++round) {
    std::vector<std::uint8_t> damaged = whole;
    for (int i = 0; i < 3; ++i) {
      // Small values, so that counts stay sizes that the plain reader can hold.
      const std::size_t at = random() % damaged.size();
      damaged[at] = static_cast<std::uint8_t>(at % 4 == 0 ? random() : random() % 2);
    }
    SCOPED_TRACE(testing::Message() << "round " << round);
    expectSameDatabase(damaged, keys);
    if (HasFatalFailure()) return;
  }
}

TEST(Database, ReadingThatFailsMidwayIsToldFromAnEnd) {
  using audio::DatabaseState;
  const std::vector<std::uint8_t> bytes =
      databaseBytes({"first", "second name"}, {{0, {1, 2}}, {5, {7}}, {1048575, {9}}});
  const std::size_t header = 4 + 10 + 16 + 8;
  std::vector<std::size_t> ends = {bytes.size() - 1, bytes.size() - 12, 300'000, 2'000'000};
  for (std::size_t end = 0; end < header + 30; ++end) ends.push_back(end);
  for (const std::size_t end : ends) {
    for (const bool known : {true, false}) {
      SCOPED_TRACE(testing::Message() << "at " << end << (known ? ", size known" : ""));
      BrokenSource cut(bytes, end, false, known);
      BrokenSource broken(bytes, end, true, known);
      LogCapture capture;
      audio::AudioDatabase shorter;
      audio::AudioDatabase failed;
      // What came counts, as in a file that ends there.
      const bool loads = shorter.load(cut);
      const Messages messages = capture.messages();
      // Of the last number the upper bytes are zero, as bytes that are missing.
      EXPECT_EQ(loads, end >= header - 2);
      EXPECT_EQ(failed.load(broken), loads);
      EXPECT_EQ(shorter.state(), loads ? DatabaseState::kCut : DatabaseState::kDamaged);
      EXPECT_EQ(failed.state(), DatabaseState::kReadFailed);
      for (const std::uint32_t key : {0u, 1u, 5u, 1048575u}) {
        ASSERT_EQ(failed.bucket(key).count, shorter.bucket(key).count);
      }
      Messages twice = messages;
      twice.insert(twice.end(), messages.begin(), messages.end());
      EXPECT_EQ(capture.messages(), twice);
    }
  }
  BrokenSource whole(bytes, bytes.size(), true, true);
  audio::AudioDatabase database;
  EXPECT_TRUE(database.load(whole));
  EXPECT_EQ(database.state(), DatabaseState::kWhole);
}

TEST(Database, FoldersPipesAndSparseFiles) {
  audio::AudioDatabase folder;
  EXPECT_FALSE(folder.load("/tmp"));
  EXPECT_EQ(folder.state(), audio::DatabaseState::kReadFailed);
  EXPECT_FALSE(folder.load("/no/such/file"));
  EXPECT_EQ(folder.state(), audio::DatabaseState::kCannotOpen);
  EXPECT_EQ(folder.openingError(), ENOENT);
  EXPECT_FALSE(folder.load(nullptr));
  EXPECT_EQ(folder.state(), audio::DatabaseState::kNotLoaded);
  EXPECT_EQ(folder.openingError(), 0);
  const std::vector<std::uint8_t> bytes = databaseBytes({"piped"}, {{3, {82020}}});
  const TemporaryFile place({});
  const std::string pipe = std::string(place.path()) + ".pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer([&] {
    std::ofstream(pipe, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  });
  audio::AudioDatabase piped;
  EXPECT_TRUE(piped.load(pipe.c_str()));
  writer.join();
  unlink(pipe.c_str());
  EXPECT_EQ(piped.bucket(3)[0], 82020u);

  const TemporaryFile sparse(bytes);
  ASSERT_EQ(truncate(sparse.path(), off_t{1} << 42), 0);
  audio::AudioDatabase large;
  EXPECT_TRUE(large.load(sparse.path()));
  EXPECT_EQ(large.bucket(3)[0], 82020u);
}

}  // namespace
