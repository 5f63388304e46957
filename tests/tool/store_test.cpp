// Stores of references: what they find is what the database file finds, to the entry.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/logger.h"
#include "tests/tool/stored_references.h"
#include "tests/tool/tool_files.h"
#include "tool/base/errors.h"
#include "tool/recognition/no_references.h"
#include "tool/recognition/reference_joiner.h"
#include "tool/store/embedded_references.h"
#include "tool/store/local_store.h"
#include "tool/store/packed_bucket.h"

namespace {

using audiomatch::Adding;
using audiomatch::EmbeddedReferences;
using audiomatch::FoundHits;
using audiomatch::kThresholds;
using audiomatch::LocalStore;
using audiomatch::NewReference;
using audiomatch::ReferenceDatabase;
using audiomatch::StoreFolder;
using namespace testing_support;

TEST(PackedBucket, KeepsEntriesSortedAndOnce) {
  const std::uint64_t highest = (std::uint64_t{1} << 46) - 1;
  const std::vector<std::uint64_t> some = {0, 0x0102030405, highest};
  std::string bucket;
  audiomatch::appendPacked(bucket, some);
  EXPECT_EQ(bucket.size(), 18u);
  EXPECT_EQ(bucket.substr(6, 6), std::string("\x05\x04\x03\x02\x01\0", 6));
  const std::vector<std::uint64_t> more = {7, highest, 0};
  std::vector<std::uint64_t> entries = {99};
  audiomatch::appendUnpacked(entries, audiomatch::withEntries(bucket, more));
  EXPECT_EQ(entries, (std::vector<std::uint64_t>{99, 0, 7, 0x0102030405, highest}));
  // One that was appended to without order, and cut in the middle of an entry.
  entries.clear();
  audiomatch::appendUnpacked(entries, bucket.substr(6) + bucket.substr(0, 6) + "half");
  EXPECT_EQ(entries, (std::vector<std::uint64_t>{0, 0x0102030405, highest}));
}

TEST(EmbeddedReferences, FindWhatTheFileFindsAndComeBack) {
  audio::gLogger.setEnabled(false);
  const TemporaryFolder folder;
  const std::vector<NewReference> references = someReferences();
  const auto file = databaseOf(references, folder / "db");
  const auto features = question();
  const FoundHits expected = file.find(features);
  ASSERT_GT(expected.hits.size(), 1000u);
  {
    EmbeddedReferences store(folder / "store");
    EXPECT_TRUE(store.find(features).hits.empty());
    // Added in two halves, of which the second begins with what is there.
    const std::span all(references);
    store.add(all.first(5), {});
    const std::vector<Adding> added = store.add(all.subspan(4), {});
    EXPECT_EQ(added[0], Adding::kPresent);
    EXPECT_EQ(std::ranges::count(added, Adding::kAdded), 4);
    const FoundHits found = store.find(features);
    EXPECT_EQ(found.hits, expected.hits);
    EXPECT_EQ(found.ends, expected.ends);
    EXPECT_EQ(named(found), named(expected));
  }
  EmbeddedReferences again(folder / "store");
  EXPECT_EQ(again.find(features).hits, expected.hits);
  EXPECT_EQ(again.names()->recording(6), 4);
}

TEST(EmbeddedReferences, ForgetWhatIsRemovedAndWhatWasNotFinished) {
  audio::gLogger.setEnabled(false);
  const TemporaryFolder folder;
  std::vector<NewReference> references = someReferences();
  const auto features = question();
  EmbeddedReferences store(folder / "store");
  store.add(references, {});
  const FoundHits before = store.find(features);
  NewReference other = references[2];
  other.parts[0].pop_back();
  EXPECT_EQ(store.add({&other, 1}, {})[0], Adding::kConflict);
  EXPECT_EQ(store.find(features).hits, before.hits);

  EXPECT_TRUE(store.remove("track 4"));
  EXPECT_FALSE(store.remove("track 4"));
  EXPECT_FALSE(store.remove(""));
  const NewReference removed = references[4];
  references.erase(references.begin() + 4);
  const auto file = databaseOf(references, folder / "db");
  EXPECT_EQ(named(store.find(features)), named(file.find(features)));

  // Interrupted, nothing of it is there; what was removed can be added again.
  const auto stop = [](double) { throw std::runtime_error("interrupted"); };
  EXPECT_THROW(store.add({&removed, 1}, stop), std::runtime_error);
  EXPECT_EQ(named(store.find(features)), named(file.find(features)));
  EXPECT_EQ(store.add({&removed, 1}, {})[0], Adding::kAdded);
  EXPECT_EQ(store.find(features).hits.size(), before.hits.size());

  std::ofstream(folder / "other") << std::string(8192, 'x');
  EXPECT_THROW(EmbeddedReferences(folder / "other"), audiomatch::FileError);
}

TEST(References, AreLookedUpForAsManyHitsAsAreWanted) {
  audio::gLogger.setEnabled(false);
  const TemporaryFolder folder;
  const ReferenceDatabase file = databaseOf(someReferences(), folder / "db");
  EmbeddedReferences store(folder / "store");
  store.add(someReferences(), {});
  const std::size_t hits = file.find(question()).hits.size();
  for (const audiomatch::References* each : {static_cast<const audiomatch::References*>(&store),
                                             static_cast<const audiomatch::References*>(&file)}) {
    EXPECT_EQ(each->find(question(), hits).hits.size(), hits);
    EXPECT_THROW(each->find(question(), hits - 1), std::length_error);
  }
}

TEST(LocalStore, TellsReferencesOfOneNameApart) {
  audio::gLogger.setEnabled(false);
  const TemporaryFolder folder;
  std::vector<NewReference> references = someReferences();
  // The first in the folder has the name of the last in the file, as a push may bring it.
  StoreFolder(folder / "store").references().add({&references[8], 1}, {});
  const auto expected = databaseOf(references, folder / "db").find(question());
  LocalStore store(std::make_unique<const ReferenceDatabase>(folder / "db"),
                   std::make_unique<StoreFolder>(folder / "store"), kThresholds);
  EXPECT_EQ(store.names()->recordingCount(), 10u);
  const auto found = store.find(question(), LocalStore::Patience::kNone).references;
  const auto of_first = named(expected);
  const auto of_both = named(found);
  for (std::size_t i = 0; i < of_both.size(); ++i) {
    auto twice = of_first[i];
    std::ranges::copy_if(of_first[i], std::back_inserter(twice),
                         [](const auto& hit) { return hit.first == "track 8"; });
    EXPECT_EQ(of_both[i], twice);
  }
}

TEST(ReferenceJoiner, KeepsABackgroundWhileThereIsRoom) {
  const auto names_of = [](std::vector<std::string> names) {
    return std::make_shared<const audiomatch::ReferenceNames>(std::move(names), 0);
  };
  const FoundHits first{.hits = {{0, 5}, {1, 6}}, .ends = {2}, .names = names_of({"one", ""})};
  for (const std::size_t others : {18u, 19u}) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < others; ++i) names.push_back(std::to_string(i));
    const FoundHits second{.hits = {{0, 7}}, .ends = {1}, .names = names_of(names)};
    std::vector<std::pair<std::string, int>> found;
    const FoundHits joined = audiomatch::ReferenceJoiner().join(first, second);
    for (const auto& hit : joined.of(0)) {
      found.emplace_back(joined.names->name(hit.audio_index), hit.time_offset);
    }
    std::vector<std::pair<std::string, int>> expected{{"one", 5}, {"", 6}, {"0", 7}};
    if (others == 19) expected.erase(expected.begin() + 1);
    EXPECT_EQ(found, expected) << others;
  }
}

TEST(LocalStore, NotesWhatItRemembersAndNoMore) {
  audio::gLogger.setEnabled(false);
  const TemporaryFolder folder;
  const audiomatch::ChannelSession session{"a", {.update = 1, .monitor = 10}, "1"};
  const std::vector<audio::AudioAttribute> some(100, {7, 5});
  const auto open = [&] {
    return LocalStore(std::make_unique<const audiomatch::NoReferences>(),
                      std::make_unique<StoreFolder>(folder / "store"), kThresholds);
  };
  {
    LocalStore store = open();
    store.apply(7, session, 1000, some);
    const std::uint64_t bytes = store.counts().bytes;
    for (std::uint32_t late = 0; late < 1000; ++late) store.apply(7, session, late, some);
    EXPECT_EQ(store.counts().bytes, bytes);
  }
  LocalStore again = open();
  EXPECT_EQ(again.counts().attributes, some.size());
}

}  // namespace
