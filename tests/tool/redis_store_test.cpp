// What servers share in a Redis Cluster: the same, to the entry, as a file and a server's own
// memory have.

#include "tool/store/redis_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/logger.h"
#include "match/database/packed_entry.h"
#include "tests/tool/redis_servers.h"
#include "tests/tool/stored_references.h"
#include "tests/tool/tool_files.h"
#include "tool/recognition/no_references.h"
#include "tool/service/uplink_line.h"
#include "tool/store/store_error.h"

namespace {

using namespace audiomatch;
using namespace testing_support;

constexpr const char* kNames = "{audiomatch}:names";
constexpr const char* kRemoved = "{audiomatch}:removed";
constexpr const char* kHeld = "{audiomatch}:held";

/// Calls of sweep that look at all buckets, after one that chooses what to look for.
constexpr int kSweeps = 33;

std::vector<audio::AudioAttribute> played(std::uint32_t seed, std::size_t count = 150) {
  std::vector<audio::AudioAttribute> list;
  for (const audio::AudioFeature& entry : randomEntries(seed, count)) {
    list.push_back({audio::packEntry(99, entry.startTime), entry.hashKey});
  }
  return list;
}

class RedisStoreTest : public testing::Test {
 protected:
  RedisStoreTest() {
    audio::gLogger.setEnabled(false);
    limitMemory("0");
    for (const std::string& node : cluster.masters()) {
      const RedisCommand flush{.key = {}, .words = {"FLUSHALL"}, .node = node};
      cluster.run({&flush, 1});
    }
  }

  RedisReply ask(std::vector<std::string> words) {
    const RedisCommand command{.key = words[1], .words = std::move(words)};
    return cluster.run({&command, 1})[0];
  }
  /// How many of something a hash has.
  std::int64_t sizeOf(const std::string& hash) { return ask({"HLEN", hash}).number; }
  /// Entries that lie in the buckets, whoever they are of.
  std::uint64_t entriesInBuckets() {
    std::uint64_t bytes = 0;
    for (std::uint32_t key = 0; key < kKeys; ++key) {
      bytes += static_cast<std::uint64_t>(
          ask({"STRLEN", "audiomatch:r:" + std::to_string(key * 26'000)}).number);
    }
    return bytes / 6;
  }
  void limitMemory(const std::string& bytes) {
    for (const std::string& node : cluster.masters()) {
      const RedisCommand limit{
          .key = {}, .words = {"CONFIG", "SET", "maxmemory", bytes}, .node = node};
      cluster.run({&limit, 1});
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
  for (int i = 0; i < kSweeps; ++i) other.sweep();
  EXPECT_EQ(sizeOf(kRemoved), 0);
  EXPECT_EQ(named(store.find(features)), rest);
  EXPECT_EQ(store.add({&removed, 1}, {})[0], Adding::kAdded);
  EXPECT_EQ(other.find(features).hits.size(), expected.hits.size());
  EXPECT_EQ(other.names()->entryCount(), expected.names->entryCount());
}

TEST_F(RedisStoreTest, WhatIsWrittenBehindASweepIsSweptByTheNext) {
  RedisReferences slow(cluster);
  RedisReferences other(cluster);
  const NewReference reference = someReferences()[0];
  NewReference another = reference;
  another.parts[0].resize(100);
  bool is_first = true;
  // Given up for another of the name, which a sweep is done with before the entries come.
  const auto meanwhile = [&](double) {
    if (!std::exchange(is_first, false)) return;
    EXPECT_EQ(other.add({&another, 1}, {})[0], Adding::kAdded);
    for (int i = 0; i + 2 < kSweeps; ++i) other.sweep();
  };
  EXPECT_EQ(slow.add({&reference, 1}, meanwhile)[0], Adding::kConflict);
  EXPECT_EQ(entriesInBuckets(), reference.parts[0].size() + another.parts[0].size());
  for (int sweep = 0; sizeOf(kRemoved) > 0 && sweep < 2 * kSweeps; ++sweep) other.sweep();
  EXPECT_EQ(sizeOf(kRemoved), 0);
  EXPECT_EQ(entriesInBuckets(), another.parts[0].size());
}

TEST_F(RedisStoreTest, AFullClusterCanBeEmptied) {
  const std::vector<NewReference> references = someReferences();
  RedisReferences store(cluster);
  store.add(std::span(references).first(8), {});
  const std::uint64_t before = entriesInBuckets();
  limitMemory("1");
  EXPECT_THROW(store.add(std::span(references).last(1), {}), StoreError);
  EXPECT_TRUE(store.remove(references[0].name));
  for (int i = 0; i < kSweeps; ++i) store.sweep();
  limitMemory("0");
  EXPECT_EQ(sizeOf(kRemoved), 0);
  EXPECT_EQ(entriesInBuckets(), before - references[0].parts[0].size());
  EXPECT_EQ(store.names()->recordingCount(), 7u);
  EXPECT_EQ(store.add(std::span(references).last(1), {})[0], Adding::kAdded);
}

TEST_F(RedisStoreTest, NamesMayBeMoreThanAReplyHolds) {
  const std::string filling(16'000, 'x');
  std::vector<RedisCommand> commands;
  for (int i = 0; i < 5000; ++i) {
    const std::string number = std::to_string(2 * i);
    commands.push_back({kNames, {"HSET", kNames, number + filling, number + ":1:10:digest"}});
    commands.push_back({kRemoved, {"HSET", kRemoved, number + ":1:10:" + filling, "mark"}});
  }
  cluster.run(commands);
  RedisReferences store(cluster);
  const auto names = store.names();
  EXPECT_EQ(names->recordingCount(), 5000u);
  EXPECT_EQ(names->entryCount(), 50'000u);
  EXPECT_EQ(names->name(4444), "4444" + filling);
  EXPECT_NO_THROW(store.sweep());
}

TEST_F(RedisStoreTest, ChannelsAreThoseOfAServersMemory) {
  RedisStore store(parseRedisTarget(servers.url), std::make_unique<NoReferences>());
  LiveChannels memory({12, 0.35});
  const ChannelSession session{"Seven", {.update = 1, .monitor = 60}, "first"};
  const auto features = question();
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

/// What becomes of an analysis, as a text: one is refused by what both say.
template <typename Channels>
std::string outcome(Channels& channels, std::uint32_t id, const std::string& key,
                    std::uint32_t analysis, std::size_t count) {
  const ChannelSession session{"Radio", {.update = 1, .monitor = 3}, key};
  try {
    return std::to_string(
        static_cast<int>(channels.apply(id, session, analysis, played(analysis, count))));
  } catch (const std::length_error& error) {
    return error.what();
  }
}

TEST_F(RedisStoreTest, ChannelsHaveTheBoundsOfAServersMemory) {
  const ChannelBounds bounds{.channels = 3, .attributes = 250};
  RedisChannels channels(cluster, bounds);
  LiveChannels memory({12, 0.35}, bounds);
  std::mt19937 random(3);
  std::set<std::string> seen;
  const auto held = [&] {
    std::size_t sum = 0;
    for (const ChannelStatus& channel : channels.list()) sum += channel.attributes;
    EXPECT_EQ(ask({"HGET", kHeld, "attributes"}).text, std::to_string(sum));
    return sum;
  };
  for (std::uint32_t analysis = 0; analysis < 200; ++analysis) {
    const auto id = static_cast<std::uint32_t>(random() % 5);
    if (random() % 8 == 0) {
      EXPECT_EQ(channels.end(id), memory.end(id));
      continue;
    }
    const std::string key(1, static_cast<char>('a' + analysis / 10 + random() % 2));
    const std::size_t count = random() % 150;
    const std::string expected = outcome(memory, id, key, analysis, count);
    EXPECT_EQ(outcome(channels, id, key, analysis, count), expected) << analysis;
    EXPECT_EQ(held(), memory.held().attributes) << analysis;
    seen.insert(expected);
  }
  EXPECT_EQ(seen, (std::set<std::string>{"0", "1", "2", kTooManyChannels, kTooManyAttributes}));

  // What expires, or is removed by others, isn't counted for ever.
  for (std::uint32_t id = 0; id < 5; ++id) channels.end(id);
  for (const std::uint32_t id : {1u, 2u}) outcome(channels, id, "z", 0, 125);
  EXPECT_EQ(held(), 250u);
  ask({"DEL", "{audiomatch}:counts:1"});
  EXPECT_EQ(outcome(channels, 1, "z", 1, 50), "1");
  EXPECT_EQ(held(), 175u);
  ask({"HDEL", "{audiomatch}:channels", "2"});
  ask({"HSET", kHeld, "counted", "0"});
  EXPECT_EQ(outcome(channels, 3, "z", 0, 200), "0");
  EXPECT_EQ(held(), 250u);
}

TEST_F(RedisStoreTest, WhatHasExpiredIsNotFoundWithoutTheStoresClock) {
  RedisStore store(parseRedisTarget(servers.url), std::make_unique<NoReferences>());
  const auto features = question();
  const auto current = played(1);
  store.apply(1, {"Brief", {.update = 1, .monitor = 1}, "b"}, 0, current);
  store.apply(2, {"Long", {.update = 1, .monitor = 3600}, "l"}, 0, current);
  const auto channels = [&](Store& asked) {
    std::set<std::uint32_t> ids;
    const Store::Found found = asked.find(features, Store::Patience::kNone);
    for (const audio::AudioAttribute& each : found.channels) {
      ids.insert(audio::entryAudioIndex(each.hashValue));
    }
    return ids;
  };
  while (channels(store).size() > 1) continue;
  RedisStore later(parseRedisTarget(servers.url), std::make_unique<NoReferences>());
  std::string holder = servers.ask(1, "hlen '{audiomatch}:channels'");
  while (holder.back() == '\n') holder.pop_back();
  const int node = holder.starts_with("MOVED") ? servers.nodeOf(holder) : 1;
  servers.stop(node);
  EXPECT_EQ(channels(store), std::set<std::uint32_t>{2});
  // Who was never told what there is can't say that there is nothing.
  EXPECT_THROW(channels(later), StoreError);
  // Its replica takes over.
  EXPECT_EQ(sizeOf(kNames), 0);
  servers.goOn(node);
  servers.await(node, "role", "connected");
}

TEST_F(RedisStoreTest, AnswersNothingWhenNobodyDoes) {
  const RedisServers plain("PLAIN");
  RedisStore store(parseRedisTarget(plain.url), std::make_unique<NoReferences>());
  EXPECT_FALSE(store.find(question(), Store::Patience::kNone).references.is_partial);
  plain.kill(1);
  EXPECT_THROW(store.find(question(), Store::Patience::kNone), StoreError);
  store.hurry();
  EXPECT_THROW(store.names(), StoreError);
  plain.restart(1);
  EXPECT_FALSE(store.find(question(), Store::Patience::kNone).references.is_partial);
}

TEST_F(RedisStoreTest, AListenersLineSaysWhetherToTryAgain) {
  using Outcome = UplinkLine::Reply::Outcome;
  const ChannelSession session{"Radio", {.update = 1, .monitor = 60}, "s"};
  const auto line = [&](const std::string& url) {
    return makeLine({.url = url, .token = {}, .id = 7, .session = session});
  };
  const ChannelMessage first{session, {{0, played(1)}}};
  const ChannelMessage more{session, {{1, played(2)}, {2, played(3)}}};
  const auto stranger = line("redis://:other@" + RedisServers("PLAIN").nameOf(1))->send(first);
  EXPECT_EQ(stranger.outcome, Outcome::kRefused);
  EXPECT_NE(stranger.reason.find("WRONGPASS"), std::string::npos);
  EXPECT_EQ(line("redis://127.0.0.1:1")->send(first).outcome, Outcome::kAway);

  const auto listener = line(servers.url);
  EXPECT_EQ(listener->send(first).outcome, Outcome::kTaken);
  ask({"HSET", kHeld, "attributes", "100000000", "counted", std::to_string(std::time(nullptr))});
  EXPECT_EQ(listener->send(more).outcome, Outcome::kAway);
  EXPECT_EQ(listener->send(more).reason, kTooManyAttributes);
  ask({"DEL", kHeld});
  listener->cancel();
  EXPECT_EQ(listener->send(more).outcome, Outcome::kAway);
  RedisChannels channels(cluster);
  EXPECT_EQ(channels.list().at(0).analyses, 1u);
  EXPECT_TRUE(listener->end());
  EXPECT_TRUE(channels.list().empty());
}

TEST_F(RedisStoreTest, ANodeThatIsAwayMakesAnAnswerPartial) {
  const TemporaryFolder folder;
  const auto features = question();
  const std::vector<NewReference> references = someReferences();
  const FoundHits expected = databaseOf(references, folder / "db").find(features);
  RedisStore store(parseRedisTarget(servers.url), std::make_unique<NoReferences>());
  for (const NewReference& reference : references) store.add(reference);
  ASSERT_EQ(store.find(features, Store::Patience::kNone).references.hits, expected.hits);
  ASSERT_EQ(sizeOf(kNames), 9);
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
