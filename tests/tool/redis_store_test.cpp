// What servers share in a Redis Cluster: the same, to the entry, as a file and a server's own
// memory have.

#include "tool/store/redis_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/logger.h"
#include "match/database/packed_entry.h"
#include "tests/tool/redis_servers.h"
#include "tests/tool/stored_references.h"
#include "tests/tool/tool_files.h"
#include "tool/recognition/no_references.h"

namespace {

using namespace audiomatch;
using namespace testing_support;

class RedisStoreTest : public testing::Test {
 protected:
  RedisStoreTest() {
    audio::gLogger.setEnabled(false);
    for (const std::string& node : cluster.masters()) {
      const RedisCommand flush{.key = {}, .words = {"FLUSHALL"}, .node = node};
      cluster.run({&flush, 1});
    }
  }

  RedisServers servers{"CLUSTER"};
  RedisCluster cluster{parseRedisTarget(servers.url)};
};

TEST_F(RedisStoreTest, ReferencesAreThoseOfAFile) {
  const TemporaryFolder folder;
  std::vector<NewReference> references = someReferences();
  const auto features = question();
  const FoundHits expected = databaseOf(references, folder / "db").find(features);
  RedisReferences store(cluster);
  RedisReferences other(cluster);
  EXPECT_TRUE(other.find(features).hits.empty());
  // Interrupted, and by somebody else than who goes on with it; in part it is never found.
  const auto stop = [](double) { throw std::runtime_error("interrupted"); };
  EXPECT_THROW(store.add(std::span(references).first(3), stop), std::runtime_error);
  EXPECT_TRUE(other.find(features).hits.empty());
  EXPECT_EQ(std::ranges::count(other.add(references, {}), Adding::kAdded), 9);
  EXPECT_EQ(std::ranges::count(store.add(references, {}), Adding::kPresent), 9);
  const FoundHits found = store.find(features);
  EXPECT_EQ(found.hits, expected.hits);
  EXPECT_EQ(found.ends, expected.ends);
  EXPECT_EQ(named(found), named(expected));
  EXPECT_FALSE(found.is_partial);
  NewReference another = references[2];
  another.parts[0].pop_back();
  EXPECT_EQ(store.add({&another, 1}, {})[0], Adding::kConflict);

  // Removed, it is gone for all at once, then its entries too, and can come again.
  EXPECT_TRUE(store.remove("track 4"));
  EXPECT_FALSE(other.remove("track 4"));
  const NewReference removed = references[4];
  references.erase(references.begin() + 4);
  const auto rest = named(databaseOf(references, folder / "db").find(features));
  EXPECT_EQ(named(other.find(features)), rest);
  for (int i = 0; i < 33; ++i) other.sweep();
  const RedisCommand left{.key = "{audiomatch}:removed", .words = {"HLEN", "{audiomatch}:removed"}};
  EXPECT_EQ(cluster.run({&left, 1})[0].number, 0);
  EXPECT_EQ(named(store.find(features)), rest);
  EXPECT_EQ(store.add({&removed, 1}, {})[0], Adding::kAdded);
  EXPECT_EQ(other.find(features).hits.size(), expected.hits.size());
  EXPECT_EQ(other.names()->entryCount(), expected.names->entryCount());
}

TEST_F(RedisStoreTest, ChannelsAreThoseOfAServersMemory) {
  RedisStore store(parseRedisTarget(servers.url), std::make_unique<NoReferences>());
  LiveChannels memory({12, 0.35});
  const ChannelSession session{"Seven", {.update = 1, .monitor = 60}, "first"};
  const auto features = question();
  const auto played = [](std::uint32_t seed) {
    std::vector<audio::AudioAttribute> list;
    for (const audio::AudioFeature& entry : randomEntries(seed, 150)) {
      list.push_back({audio::packEntry(99, entry.startTime), entry.hashKey});
    }
    return list;
  };
  for (std::uint32_t analysis = 0; analysis < 4; ++analysis) {
    for (const std::uint32_t id : {8u, 7u}) {
      const auto current = played(10 * analysis + id);
      EXPECT_EQ(store.apply(id, session, analysis, current),
                memory.apply(id, session, analysis, current));
      // What comes twice counts once.
      EXPECT_EQ(store.apply(id, session, analysis, current), Taken::kGoesOn);
    }
  }
  ASSERT_EQ(store.channels().size(), 2u);
  const auto found = store.find(features, Store::Patience::kNone);
  EXPECT_GT(found.channels.size(), 500u);
  EXPECT_EQ(found.channels, memory.lookUp(features));
  EXPECT_FALSE(found.references.is_partial);
  EXPECT_EQ(store.onAir(7)->latest, 3u);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(store.channels()[i].attributes, memory.list()[i].attributes);
    EXPECT_EQ(store.channels()[i].analyses, 4u);
  }

  // Another session takes a channel over; the first neither speaks nor ends it any more.
  const ChannelSession second{"Seven", session.periods, "second"};
  EXPECT_EQ(store.apply(7, second, 0, played(5)), Taken::kBegins);
  memory.apply(7, second, 0, played(5));
  EXPECT_EQ(store.apply(7, session, 4, played(6)), Taken::kReplaced);
  EXPECT_FALSE(store.end(7, "first"));
  ASSERT_EQ(store.channels().size(), 2u);
  EXPECT_EQ(store.find(features, Store::Patience::kNone).channels, memory.lookUp(features));
  EXPECT_TRUE(store.end(7, "second"));
  memory.end(7);
  EXPECT_EQ(store.find(features, Store::Patience::kNone).channels, memory.lookUp(features));

  // What nobody renews leaves by itself, channel and entries.
  const ChannelSession brief{"Brief", {.update = 1, .monitor = 1}, "b"};
  store.apply(9, brief, 0, played(9));
  std::vector<std::string> ended;
  while (ended.empty()) ended = store.tidy();
  EXPECT_EQ(ended, std::vector<std::string>{"Brief"});
  EXPECT_EQ(store.find(features, Store::Patience::kNone).channels, memory.lookUp(features));
}

TEST_F(RedisStoreTest, ANodeThatIsAwayMakesAnAnswerPartial) {
  const TemporaryFolder folder;
  const auto features = question();
  const std::vector<NewReference> references = someReferences();
  const FoundHits expected = databaseOf(references, folder / "db").find(features);
  RedisStore store(parseRedisTarget(servers.url), std::make_unique<NoReferences>());
  for (const NewReference& reference : references) store.add(reference);
  ASSERT_EQ(store.find(features, Store::Patience::kNone).references.hits, expected.hits);
  const RedisCommand who{.key = "{audiomatch}:names", .words = {"HLEN", "{audiomatch}:names"}};
  ASSERT_EQ(cluster.run({&who, 1})[0].number, 9);
  const int node = servers.nodeOf(cluster.masters().front());
  servers.kill(node);
  const auto partial = store.find(features, Store::Patience::kNone).references;
  EXPECT_TRUE(partial.is_partial);
  EXPECT_LT(partial.hits.size(), expected.hits.size());
  // Whoever waits gets everything: what was acknowledged has a replica.
  const auto whole = store.find(features, Store::Patience::kWait).references;
  EXPECT_FALSE(whole.is_partial);
  EXPECT_EQ(whole.hits, expected.hits);
  servers.restart(node);
  servers.await(node, "info replication", "master_link_status:up");
}

}  // namespace
