// The client of a Redis Cluster against a single Redis, which redis_test.sh starts, and against
// what isn't a Redis at all.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "tests/tool/redis_calls.h"
#include "tests/tool/redis_servers.h"
#include "tool/base/interrupt.h"
#include "tool/store/redis_cluster.h"

namespace {

using namespace audiomatch;
using namespace std::chrono_literals;
using testing_support::Commands;
using testing_support::get;
using testing_support::problemOf;
using testing_support::RedisServers;
using testing_support::set;

TEST(PlainRedis, IsAClusterOfOne) {
  const RedisServers servers("PLAIN");
  RedisTimes times;
  times.deadline = 1s;
  RedisCluster client(parseRedisTarget(servers.url), times);
  const Commands commands{set("a", "1"), get("a"), get("{b}c")};
  EXPECT_EQ(client.masters(), std::vector<std::string>{servers.nameOf(1)});
  EXPECT_EQ(client.runDurably(commands)[1].text, "1");
  servers.kill(1);
  EXPECT_TRUE(client.run(commands, RedisEnd::kPartial)[1].isUnavailable());
  const std::string problem = problemOf([&] { client.run(commands); });
  EXPECT_HAS(problem, servers.nameOf(1) + ": Connection refused");
  EXPECT_HAS(problem, "redis://" + servers.nameOf(1) + ": ");
  servers.restart(1);
  EXPECT_EQ(client.run(commands)[1].text, "1");
  for (const char* const login : {"", ":geheimer@", "somebody:geheim@"}) {
    const std::string url = std::string("redis://") + login + servers.nameOf(1);
    const std::string refusal = problemOf([&] { RedisCluster{parseRedisTarget(url)}; });
    EXPECT_HAS(refusal, *login ? "WRONGPASS" : "NOAUTH");
    EXPECT_EQ(refusal.find("geheim"), std::string::npos);
  }
}

TEST(PlainRedis, IsNotWaitedForInHasteOrByWhoeverIsInterrupted) {
  const RedisServers servers("PLAIN");
  const RedisTarget target = parseRedisTarget(servers.url);
  RedisTimes times;
  times.command = 1h;
  times.deadline = 1h;
  const Commands commands{set("a", "1")};
  for (const bool hangs : {false, true}) {
    RedisCluster client(target, times);
    client.run(commands);
    hangs ? servers.stop(1) : servers.kill(1);
    {
      const InterruptGuard guard;
      std::jthread user([&] { guard.raise(); });
      EXPECT_THROW(client.run(commands), Interrupted);
    }
    std::jthread owner([&] { client.cancel(); });
    EXPECT_HAS(problemOf([&] { client.runDurably(commands); }), "node " + servers.nameOf(1));
    EXPECT_HAS(problemOf([&] { client.run(commands); }), "node " + servers.nameOf(1));
    hangs ? servers.goOn(1) : servers.restart(1);
    EXPECT_EQ(client.run(commands)[0].text, "OK");
  }
  RedisCluster listeners(target, times, OnSignal::kGoOn);
  const InterruptGuard guard;
  guard.raise();
  EXPECT_EQ(listeners.run(commands)[0].text, "OK");
}

/// Listens, and answers everything with a text.
class Impostor {
 public:
  explicit Impostor(std::string text) : text_(std::move(text)), thread_([this] { serve(); }) {}
  ~Impostor() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }
  std::string url() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    return "redis://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }

 private:
  static int open() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
    listen(listener, 8);
    return listener;
  }
  void serve() const {
    for (int client = 0; (client = accept(listener_, nullptr, nullptr)) >= 0; close(client)) {
      char bytes[100];
      while (recv(client, bytes, sizeof bytes, 0) > 0) {
        send(client, text_.data(), text_.size(), MSG_NOSIGNAL);
      }
    }
  }

  const std::string text_;
  const int listener_ = open();
  std::thread thread_;
};

TEST(RedisCluster, SaysWhatIsWrongWithWhoeverIsThere) {
  RedisTimes times;
  times.command = 100ms;
  times.deadline = 1s;
  const auto problem = [&](const std::string& url) {
    return problemOf([&] { RedisCluster{parseRedisTarget(url), times}; });
  };
  EXPECT_HAS(problem("redis://127.0.0.1:1"),
             "redis://127.0.0.1:1: node 127.0.0.1:1: Connection refused");
  EXPECT_HAS(problem(Impostor("").url()), "doesn't answer");
  EXPECT_HAS(problem(Impostor("HTTP/1.1 400 Bad Request\r\n\r\n").url()), "isn't a Redis");
  EXPECT_HAS(problem(Impostor("*2147483647\r\n*2147483647\r\n").url()), "doesn't answer");
  EXPECT_HAS(problem(Impostor("*0\r\n").url()), "belongs to no cluster");
  EXPECT_HAS(problem(Impostor("-LOADING Redis is loading\r\n").url()), "LOADING");
  EXPECT_HAS(problem(Impostor("-DENIED Redis is running in protected mode\r\n").url()),
             "protected");
}

}  // namespace
