// Pieces of keeping a database that can't be reached, or not cheaply, from the
// outside: entries put aside, a bounded search for duplicates, two locks.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "match/database/packed_entry.h"
#include "tests/tool/tool_files.h"
#include "tool/base/errors.h"
#include "tool/keeping/catalogue.h"
#include "tool/keeping/database_lock.h"
#include "tool/keeping/duplicate_finder.h"
#include "tool/keeping/entry_runs.h"
#include "tool/keeping/recording_names.h"

namespace {

using namespace audiomatch;
using audio::AudioFeature;
using Features = std::vector<AudioFeature>;

Features randomFeatures(std::mt19937& random, std::size_t count) {
  Features features;
  for (std::size_t i = 0; i < count; ++i)
    features.push_back({static_cast<std::uint32_t>(random() % 16384),
                        static_cast<std::uint32_t>(random() % 4096)});
  return features;
}

TEST(EntryRuns, GivesTheSameFromMemoryAndFromTheFile) {
  const testing_support::TemporaryFolder folder;
  std::mt19937 random(1);
  std::vector<Features> audios;
  for (int i = 0; i < 20; ++i) audios.push_back(randomFeatures(random, random() % 30'000));
  audios.push_back({{16383, 1048575}});
  std::vector<std::multiset<std::uint64_t>> expected(1048576);
  for (std::uint32_t i = 0; i < audios.size(); ++i) {
    for (const AudioFeature& feature : audios[i]) {
      expected[feature.hashKey].insert(audio::packEntry(i, feature.startTime));
    }
  }
  // Everything in memory, a run per audio, runs of several, and a rest of one.
  for (const std::size_t most : {SIZE_MAX, std::size_t{1}, std::size_t{50'000}}) {
    EntryRuns runs(folder / "db", most);
    for (std::uint32_t i = 0; i < audios.size(); ++i) EXPECT_EQ(runs.add(audios[i]), i);
    EXPECT_EQ(runs.audioCount(), audios.size());
    EXPECT_EQ(folder.count(), 0) << "what is put aside has no name";
    for (int pass = 0; pass < 2; ++pass) {
      EntryRuns::Pass entries(runs);
      std::vector<std::uint64_t> bucket;
      for (const auto& of_key : expected) {
        bucket.clear();
        entries.appendNext(bucket);
        ASSERT_EQ(std::multiset<std::uint64_t>(bucket.begin(), bucket.end()), of_key);
      }
    }
  }
}

TEST(EntryRuns, HoldsNoMoreThanItMay) {
  const testing_support::TemporaryFolder folder;
  std::mt19937 random(1);
  constexpr std::size_t kMost = 10'000;
  EntryRuns runs(folder / "db", kMost);
  std::vector<std::uint64_t> all;
  // More runs than a page of memory for each leaves room for, and an audio that alone is more.
  for (std::uint32_t i = 0; i < 60; ++i) {
    const Features features = randomFeatures(random, i == 30 ? 3 * kMost : 6000);
    for (const AudioFeature& each : features) all.push_back(audio::packEntry(i, each.startTime));
    runs.add(features);
    EXPECT_LE(runs.heldCount(), kMost);
  }
  EXPECT_EQ(runs.entryCount(), all.size());
  EntryRuns::Pass pass(runs);
  std::vector<std::uint64_t> merged;
  for (std::uint32_t key = 0; key < 4096; ++key) pass.appendNext(merged);
  std::ranges::sort(all);
  std::ranges::sort(merged);
  EXPECT_EQ(merged, all);
}

TEST(EntryRuns, TellsThatThereIsNoRoom) {
  EntryRuns runs("/no/such/folder/db", 1);
  EXPECT_THROW(runs.add(Features{{1, 2}}), FileError);
}

/// Recordings of random entries, of which some are others moved in time.
class DuplicateFinderTest : public testing::Test {
 protected:
  /// Finds with memory for so many pairs.
  std::vector<DuplicateFinder::Agreement> agreements(std::size_t most_pairs) {
    DuplicateFinder finder(recordings_, 2, 40'000, most_pairs);
    show(finder);
    std::vector<DuplicateFinder::Agreement> all;
    finder.forEachAgreement([&](const auto& agreement) { all.push_back(agreement); });
    return all;
  }

  void add(std::size_t recording, const Features& features, std::int64_t delay) {
    for (const AudioFeature& feature : features) {
      const auto time = static_cast<std::uint64_t>(feature.startTime + delay);
      const auto audio = first_audio_[recording] + static_cast<std::uint32_t>(time / 16384);
      buckets_[feature.hashKey].push_back(
          audio::packEntry(audio, static_cast<std::uint32_t>(time % 16384)));
    }
  }

  void show(DuplicateFinder& finder) {
    for (std::uint32_t key = 0; key < buckets_.size(); ++key) {
      std::ranges::sort(buckets_[key]);
      finder.see(key, buckets_[key]);
    }
  }

  std::vector<KeptRecording> recordings_ = {{"old", 2, {}, {}, {}, {}},
                                            {"stranger", 1, {}, {}, {}, {}},
                                            {"copy", 2, {}, {}, {}, {}},
                                            {"new", 1, {}, {}, {}, {}},
                                            {"copy of the copy", 2, {}, {}, {}, {}}};
  std::vector<std::uint32_t> first_audio_ = {0, 2, 3, 5, 6};
  std::vector<std::vector<std::uint64_t>> buckets_{4096};
  std::mt19937 random_{2};
};

TEST_F(DuplicateFinderTest, FindsCopiesAcrossPartsWithinBoundedMemory) {
  const Features music = randomFeatures(random_, 8000);
  // The copies start later in their first part, and reach into the second.
  add(0, music, 0);
  add(2, music, 10'000);
  add(4, music, 3'000);
  for (const std::size_t recording : {1u, 3u}) add(recording, randomFeatures(random_, 8000), 0);
  for (const std::size_t most_pairs : {std::size_t{1} << 23, std::size_t{1} << 14}) {
    DuplicateFinder finder(recordings_, 2, 40'000, most_pairs);
    show(finder);
    const std::vector<Duplicate> duplicates = finder.find();
    ASSERT_EQ(duplicates.size(), 2u);
    EXPECT_EQ(duplicates[0].recording, 2u);
    EXPECT_EQ(duplicates[0].of, 0u);
    // Of the original, not of a copy that is left out itself.
    EXPECT_EQ(duplicates[1].recording, 4u);
    EXPECT_EQ(duplicates[1].of, 0u);
    EXPECT_GT(duplicates[0].share, 0.9);
  }
  for (const DuplicateFinder::Agreement& agreement : agreements(std::size_t{1} << 23)) {
    EXPECT_GE(agreement.later, 2u) << "old ones aren't compared with each other";
    EXPECT_LT(agreement.earlier, agreement.later);
  }
}

TEST(Catalogue, FindsRecordingsOfPartsAndNoneAmongSeveralOfAName) {
  const KeptRecording long_one{"long", 2, 700.0, 5, "/a/long", 9};
  const KeptRecording twice{"twice", 1, 1.0, {}, "/a/twice", 9};
  const std::vector<std::string> names = {"long", "long", "twice", "", "twice"};
  Catalogue catalogue(names, {twice, long_one});
  ASSERT_EQ(catalogue.recordings().size(), 3u);
  EXPECT_EQ(catalogue.recordings()[0], long_one);
  EXPECT_EQ(catalogue.recordings()[1], (KeptRecording{"twice", 1, {}, {}, {}, {}}));
  EXPECT_EQ(catalogue.audioCount(), 4u);
  EXPECT_EQ(catalogue.background(), std::vector<std::size_t>{3});
  EXPECT_EQ(catalogue.firstAudio(1), 2u);
  EXPECT_EQ(catalogue.firstAudio(2), 4u);
  std::uint32_t next = 7;
  const auto short_ones = [](const KeptRecording& recording) { return recording.parts == 1; };
  EXPECT_EQ(catalogue.newIndices(short_ones, next),
            (std::vector<std::uint32_t>{kNoIndex, kNoIndex, 7, kNoIndex, 8}));
  const std::uint64_t counts[] = {2, 3, 1, 9, 4};
  catalogue.countEntries(counts);
  EXPECT_EQ(catalogue.recordings()[0], long_one);
  EXPECT_EQ(catalogue.recordings()[2].entries, 4u);
  EXPECT_EQ(catalogue.backgroundEntries(), 9u);
  const std::uint64_t others[] = {2, 4, 1, 0, 4};
  catalogue.countEntries(others);
  EXPECT_EQ(catalogue.recordings()[0], (KeptRecording{"long", 2, {}, 6, {}, {}}));
}

TEST(DatabaseLock, IsOneHoldersAtATime) {
  const testing_support::TemporaryFolder folder;
  {
    const DatabaseLock lock(folder / "db");
    EXPECT_THROW(DatabaseLock(folder / "db"), FileError);
    const DatabaseLock other(folder / "other");
  }
  EXPECT_EQ(folder.count(), 0);
  std::ofstream(folder / "db.lock") << "left by a process that was killed";
  { const DatabaseLock lock(folder / "db"); }
  EXPECT_EQ(folder.count(), 0);
  std::filesystem::create_symlink("elsewhere", folder / "db.lock");
  EXPECT_THROW(DatabaseLock(folder / "db"), FileError);
  EXPECT_THROW(DatabaseLock("/no/such/folder/db"), FileError);
}

TEST(RecordingNames, TakeAsMuchOfThePathAsTellsThemApart) {
  const std::filesystem::path files[] = {"/m/a/x/1.ogg", "/m/b/x/1.ogg", "/m/b/y/1.ogg",
                                         "/m/b/y/2.ogg", "/m/b/y/2.wav", "/m/b/y/3.ogg",
                                         "/4.ogg"};
  EXPECT_EQ(distinctNames(files, {"3", "y/3", "4"}),
            (std::vector<std::string>{"a/x/1", "b/x/1", "y/1", "2.ogg", "2.wav", "b/y/3", "4"}));
  EXPECT_EQ(namesOfPath("/a/b/c.d.e"), (std::vector<std::string>{"c.d", "b/c.d", "a/b/c.d"}));
}

}  // namespace
