// The client of a Redis Cluster against real ones, which redis_test.sh starts: slots that
// move, nodes that die, hang and come back.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/tool/redis_calls.h"
#include "tests/tool/redis_servers.h"
#include "tool/store/redis_cluster.h"
#include "tool/store/redis_slot.h"
#include "tool/store/store_error.h"

namespace {

using namespace audiomatch;
using namespace std::chrono_literals;
using testing_support::Commands;
using testing_support::get;
using testing_support::problemOf;
using testing_support::RedisServers;
using testing_support::set;
using Kind = RedisReply::Kind;

class RedisClusterTest : public testing::Test {
 protected:
  /// The number of the master that has a key's slot.
  int holderOf(const std::string& key) const {
    std::string answer = servers.ask(1, "get '" + key + "'");
    if (!answer.starts_with("MOVED")) return 1;
    while (answer.back() == '\n') answer.pop_back();
    return servers.nodeOf(answer);
  }
  /// Another master.
  int otherThan(int node) {
    for (const std::string& name : client.masters()) {
      if (servers.nodeOf(name) != node) return servers.nodeOf(name);
    }
    return 0;
  }
  /// A number in INFO.
  int statistic(int node, const std::string& section, const std::string& name) const {
    const std::string info = servers.ask(node, "info " + section);
    const std::size_t begin = info.find(name);
    return begin == std::string::npos ? 0 : std::stoi(info.substr(begin + name.size()));
  }
  /// What a run says of one command.
  RedisReply one(const RedisCommand& command, RedisEnd end = RedisEnd::kWait) {
    return client.run({&command, 1}, end).at(0);
  }

  const RedisServers servers{"CLUSTER"};
  RedisCluster client{parseRedisTarget(servers.url)};
};

TEST_F(RedisClusterTest, RepliesInTheOrderOfTheCommands) {
  Commands commands;
  for (const std::string& node : client.masters()) {
    commands.push_back({.words = {"FLUSHALL"}, .node = node});
  }
  client.run(commands);
  commands.clear();
  const std::string bytes("\r\n\0$-1\r\n\xff", 9);
  for (int i = 0; i < 3000; ++i) {
    const std::string key = "order:" + std::to_string(i);
    commands.push_back(set(key, bytes + key));
    commands.push_back(get(key));
  }
  const auto replies = client.run(commands);
  for (std::size_t i = 0; i < commands.size(); i += 2) {
    ASSERT_EQ(replies[i].text, "OK");
    ASSERT_EQ(replies[i + 1].text, bytes + commands[i].key);
  }
  // Each node has its part of the keys.
  std::int64_t keys = 0;
  for (const std::string& node : client.masters()) {
    const RedisReply size = one({.words = {"DBSIZE"}, .node = node});
    EXPECT_GT(size.number, 500);
    keys += size.number;
  }
  EXPECT_EQ(keys, 3000);
  EXPECT_EQ(one({{}, {"PING"}}).text, "PONG") << "by any node";
  EXPECT_EQ(one(get("order:none")).kind, Kind::kNil);
  EXPECT_HAS(one({"order:1", {"INCR", "order:1"}}).text, "not an integer");
  EXPECT_TRUE(client.run({}).empty());
  const RedisScript nested("return {1, {'two', {}}, false}");
  const RedisReply reply = one({"k", {"1", "k"}, &nested});
  ASSERT_EQ(reply.list.size(), 3U);
  EXPECT_EQ(reply.list[0].number, 1);
  EXPECT_EQ(reply.list[1].list.at(0).text, "two");
  EXPECT_EQ(reply.list[1].list.at(1).kind, Kind::kArray);
  EXPECT_EQ(reply.list[2].kind, Kind::kNil);
}

TEST_F(RedisClusterTest, SendsAndReadsAtTheSameTime) {
  Commands commands;
  for (int i = 0; i < 100'000; ++i) {
    const std::string key = "many:" + std::to_string(i);
    commands.push_back(
        {key, {"SET", key, std::string(500, static_cast<char>('a' + i % 26)), "GET"}});
  }
  client.run(commands);
  const auto replies = client.run(commands);  // the values that were there
  for (std::size_t i = 0; i < commands.size(); ++i)
    ASSERT_EQ(replies[i].text, commands[i].words[2]);
  const std::string large(20'000'000, 'x');
  EXPECT_EQ(client.run(Commands{set("large", large), get("large")})[1].text, large);
  for (RedisCommand& command : commands) command.words = {"DEL", command.key};
  client.run(commands);
}

TEST_F(RedisClusterTest, FollowsASlotThatMoves) {
  const std::string slot = std::to_string(redisSlotOf("move"));
  const int from = holderOf("{move}a");
  const int to = otherThan(from);
  const std::string to_id = servers.ask(to, "cluster myid");
  const auto move = [&](const std::string& key) {
    return servers.ask(
        from, "migrate 127.0.0.1 " + servers.nameOf(to).substr(10) + " '" + key + "' 0 5000");
  };
  Commands others;
  for (int i = 0; i < 300; ++i) others.push_back(set("other:" + std::to_string(i), "x"));
  client.run(others);
  client.run(Commands{set("{move}a", "1"), set("{move}b", "2")});
  servers.ask(to, "cluster setslot " + slot + " importing " + servers.ask(from, "cluster myid"));
  servers.ask(from, "cluster setslot " + slot + " migrating " + to_id);
  move("{move}a");
  servers.ask(to, "config resetstat");
  const Commands reads{get("{move}a"), get("{move}b"), get("{move}c")};
  auto replies = client.run(Commands{reads[0], reads[1], set("{move}c", "3")});
  EXPECT_EQ(replies[0].text, "1");
  EXPECT_EQ(replies[1].text, "2");
  EXPECT_EQ(replies[2].text, "OK");
  EXPECT_EQ(statistic(to, "commandstats", "cmdstat_asking:calls="), 2);
  // What needs keys on both sides has to wait, and nothing else with it.
  const Commands both{{"{move}a", {"MGET", "{move}a", "{move}b"}}, get("other:1")};
  replies = client.run(both, RedisEnd::kPartial);
  EXPECT_TRUE(replies[0].isUnavailable());
  EXPECT_EQ(replies[1].text, "x");
  std::thread mover([&] {
    move("{move}b");
    for (const int node : {to, from})
      servers.ask(node, "cluster setslot " + slot + " node " + to_id);
  });
  replies = client.run(both);
  mover.join();
  ASSERT_EQ(replies[0].list.size(), 2U);
  EXPECT_EQ(replies[0].list[1].text, "2");
  // A client that knew the slot elsewhere is told once.
  RedisCluster fresh(parseRedisTarget(servers.url));
  servers.ask(from, "cluster setslot " + slot + " node " + to_id);
  for (RedisCluster* const asked : {&fresh, &client}) {
    replies = asked->run(reads);
    EXPECT_EQ(replies[0].text + replies[1].text + replies[2].text, "123");
  }
  servers.ask(from, "config resetstat");
  client.run(reads);
  client.run(others);
  EXPECT_EQ(statistic(from, "errorstats", "errorstat_MOVED:count="), 0);
}

TEST_F(RedisClusterTest, SendsOnlyWhatHasMovedAgain) {
  const std::string slot = std::to_string(redisSlotOf("moved"));
  const int from = holderOf("{moved}a");
  const int to = otherThan(from);
  Commands commands;
  for (int i = 0; i < 900; ++i) {
    const std::string key = "counter:" + std::to_string(i);
    commands.push_back({key, {"INCR", key}});
  }
  for (const char* const key : {"{moved}a", "{moved}b"}) commands.push_back({key, {"INCR", key}});
  for (const int node : {to, from}) {
    servers.ask(node, "cluster setslot " + slot + " node " + servers.ask(to, "cluster myid"));
  }
  servers.ask(from, "config resetstat");
  for (const int times : {1, 2}) {
    for (const RedisReply& reply : client.run(commands)) EXPECT_EQ(reply.number, times);
    EXPECT_EQ(statistic(from, "errorstats", "errorstat_MOVED:count="), 2) << "of the first run";
  }
}

TEST_F(RedisClusterTest, WaitsForASlotThatNobodyServes) {
  const std::string slot = std::to_string(redisSlotOf("orphan"));
  const int holder = holderOf("orphan");
  const Commands commands{set("orphan", "1"), {{}, {"PING"}}};
  servers.ask(holder, "cluster delslots " + slot);
  const auto replies = client.run(commands, RedisEnd::kPartial);
  EXPECT_TRUE(replies[0].isUnavailable());
  EXPECT_EQ(replies[1].text, "PONG");
  RedisTimes times;
  times.deadline = 300ms;
  RedisCluster impatient(parseRedisTarget(servers.url), times);
  EXPECT_HAS(problemOf([&] { impatient.run(commands); }), "orphan");
  std::thread owner([&] { servers.ask(holder, "cluster addslots " + slot); });
  EXPECT_EQ(client.run(commands)[0].text, "OK");
  owner.join();
}

TEST_F(RedisClusterTest, SendsAScriptOnceToANodeThatDoesNotKnowIt) {
  const RedisScript script("return redis.call('APPEND', KEYS[1], ARGV[1])");
  Commands commands;
  for (int i = 0; i < 900; ++i) {
    const std::string key = "script:" + std::to_string(i);
    commands.push_back({key, {"1", key, "ab"}, &script});
  }
  const std::vector<std::string> masters = client.masters();
  for (int times = 1; times <= 2; ++times) {
    for (const std::string& node : masters) {
      one({.words = {"SCRIPT", "FLUSH"}, .node = node});
      servers.ask(servers.nodeOf(node), "config resetstat");
    }
    for (const RedisReply& reply : client.run(commands)) EXPECT_EQ(reply.number, times * 2);
    for (const std::string& node : masters) {
      EXPECT_EQ(statistic(servers.nodeOf(node), "commandstats", "cmdstat_eval:calls="), 1);
    }
  }
}

TEST_F(RedisClusterTest, CountsAWriteWhenAReplicaHasIt) {
  RedisTimes times;
  times.replicas = 100ms;
  times.deadline = 500ms;
  RedisCluster impatient(parseRedisTarget(servers.url), times);
  const int master = holderOf("durable");
  const Commands commands{set("durable", "1")};
  EXPECT_EQ(impatient.runDurably(commands)[0].text, "OK");
  // The port of its replica is the fourth line.
  const std::string replica = testing_support::outputOf(
      "redis-cli -p " + servers.nameOf(master).substr(10) + " role | sed -n 4p");
  const int node = servers.nodeOf(":" + replica.substr(0, replica.size() - 1));
  servers.stop(node);
  EXPECT_EQ(impatient.run(commands)[0].text, "OK");
  EXPECT_HAS(problemOf([&] { impatient.runDurably(commands); }), "no replica");
  servers.goOn(node);
  EXPECT_EQ(client.runDurably(commands)[0].text, "OK");
}

TEST_F(RedisClusterTest, NamesTheRightThatAUserLacks) {
  const RedisScript script("return redis.call('APPEND', KEYS[1], 'x')");
  const Commands writes{set("right", "1")};
  const Commands scripts{{"right", {"1", "right"}, &script}};
  for (const auto& [lacking, commands, is_durable] :
       {std::tuple{"set", writes, false}, std::tuple{"append", scripts, false},
        std::tuple{"wait", writes, true}}) {
    for (const std::string& node : client.masters()) {
      servers.ask(servers.nodeOf(node),
                  std::string("acl setuser guest reset on '>word' '~*' +@all -") + lacking);
    }
    RedisCluster guest(parseRedisTarget("redis://guest:word@" + servers.nameOf(holderOf("right"))));
    try {
      is_durable ? guest.runDurably(commands) : guest.run(commands);
      ADD_FAILURE() << lacking;
    } catch (const StoreRefusal& refusal) {
      EXPECT_HAS(refusal.what(), "run");
    }
  }
  for (const std::string& node : client.masters()) {
    servers.ask(servers.nodeOf(node), "acl deluser guest");
  }
}

TEST_F(RedisClusterTest, KeepsTheRepliesOfManyThreadsApart) {
  std::vector<std::jthread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 20; ++round) {
        Commands commands;
        for (int i = 0; i < 60; ++i) {
          const std::string key = "thread:" + std::to_string(t) + ":" + std::to_string(i);
          commands.push_back(set(key, key + std::to_string(round)));
          commands.push_back(get(key));
        }
        const auto replies = client.run(commands);
        for (std::size_t i = 0; i < replies.size(); i += 2) {
          ASSERT_EQ(replies[i + 1].text, commands[i].words[2]);
        }
      }
    });
  }
}

/// Writes until it is told to end, and knows what was confirmed.
class Writer {
 public:
  Writer(RedisCluster& cluster, std::string name)
      : name_(std::move(name)), thread_([this, &cluster](const std::stop_token& end) {
          while (!end.stop_requested()) {
            const Commands batch = commands(confirmed, confirmed + 30);
            for (const RedisReply& reply : cluster.runDurably(batch)) ASSERT_EQ(reply.text, "OK");
            confirmed += 30;
          }
        }) {}
  void awaitMore() const {
    for (const int before = confirmed; confirmed < before + 300;) std::this_thread::sleep_for(1ms);
  }
  void end() {
    thread_.request_stop();
    thread_.join();
  }
  Commands commands(int first, int last) const {
    Commands all;
    for (int i = first; i < last; ++i)
      all.push_back(set(name_ + std::to_string(i), std::to_string(i)));
    return all;
  }

  std::atomic<int> confirmed = 0;

 private:
  std::string name_;
  std::jthread thread_;
};

TEST_F(RedisClusterTest, LosesNothingThatWasConfirmedWithAMasterThatDies) {
  const int victim = holderOf("s:0");
  RedisTarget only_victim = parseRedisTarget("redis://" + servers.nameOf(victim));
  RedisCluster follower(only_victim);
  Commands writes;
  Commands reads;
  std::vector<bool> is_victims;
  for (int i = 0; i < 60; ++i) {
    const std::string key = "s:" + std::to_string(i);
    writes.push_back(set(key, key));
    reads.push_back(get(key));
    is_victims.push_back(holderOf(key) == victim);
  }
  client.runDurably(writes);
  Writer one_writer(client, "one:");
  Writer another(follower, "another:");
  one_writer.awaitMore();
  another.awaitMore();
  servers.kill(victim);
  const auto partial = client.run(reads, RedisEnd::kPartial);
  for (std::size_t i = 0; i < reads.size(); ++i) {
    EXPECT_EQ(partial[i].isUnavailable(), is_victims[i]) << i;
    EXPECT_EQ(partial[i].text, is_victims[i] ? "" : reads[i].key);
  }
  // Its replica takes over, and nobody needs the node that was named.
  for (RedisCluster* const cluster : {&client, &follower}) {
    const auto replies = cluster->run(reads);
    for (std::size_t i = 0; i < reads.size(); ++i) EXPECT_EQ(replies[i].text, reads[i].key);
  }
  one_writer.awaitMore();
  another.awaitMore();
  servers.restart(victim);
  servers.await(victim, "role", "connected");
  one_writer.awaitMore();
  for (Writer* const writer : {&one_writer, &another}) {
    writer->end();
    Commands confirmed = writer->commands(0, writer->confirmed);
    for (RedisCommand& command : confirmed) command.words = {"GET", command.key};
    const auto replies = client.run(confirmed);
    for (std::size_t i = 0; i < replies.size(); ++i) ASSERT_EQ(replies[i].text, std::to_string(i));
  }
}

TEST_F(RedisClusterTest, DoesWithoutANodeThatHangs) {
  const int victim = holderOf("hang");
  const std::string other = servers.nameOf(otherThan(victim));
  client.run(Commands{set("hang", "1")});
  servers.stop(victim);
  const auto replies =
      client.run(Commands{get("hang"), {.words = {"PING"}, .node = other}}, RedisEnd::kPartial);
  EXPECT_TRUE(replies[0].isUnavailable());
  EXPECT_EQ(replies[1].text, "PONG");
  // Who never waits finds its replica too, once that has taken over.
  RedisReply reply;
  while (reply.isUnavailable()) reply = one(get("hang"), RedisEnd::kPartial);
  EXPECT_EQ(reply.text, "1");
  servers.goOn(victim);
  servers.await(victim, "role", "connected");
}

}  // namespace
