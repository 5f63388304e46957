#pragma once

#include <span>
#include <string>
#include <vector>

#include "tool/store/redis_command.h"
#include "tool/store/redis_connection.h"
#include "tool/store/redis_haste.h"
#include "tool/store/redis_times.h"

namespace audiomatch {

/// Commands that go to a node one after the other, without waiting for their replies,
/// which come in the same order.
class RedisPipeline {
 public:
  /// Connects where needed.
  RedisPipeline(RedisConnection& connection, const RedisTarget& target, const RedisTimes& times);
  RedisPipeline(const RedisPipeline&) = delete;
  RedisPipeline& operator=(const RedisPipeline&) = delete;
  /// Closes the connection when replies are still due.
  ~RedisPipeline();

  /// The reply stays kUnavailable when none comes. Both live until the end of the talk.
  void add(const RedisCommand& command, RedisReply& reply);
  /// As add, to a node that a slot is moving to.
  void addAsking(const RedisCommand& command, RedisReply& reply);

  const RedisNode& node() const noexcept { return connection_.node(); }
  RedisConnection& connection() noexcept { return connection_; }
  /// True when nothing is to come: all replies are there, or there is a problem.
  bool isOver() const noexcept { return received_ == steps_.size() || !connection_.isOpen(); }
  /// Whether the node doesn't take the target's user and password, now or later.
  bool isRefused() const;
  /// Sends what can be sent at once.
  void begin();
  /// What to wait for by poll(2).
  int descriptor() const noexcept { return connection_.descriptor(); }
  short events() const noexcept;
  /// Does what the events of poll(2) allow.
  void advance(short events, RedisTime now);
  /// When it is too late, unless something moves.
  RedisTime patience() const noexcept;
  /// Closes the connection to a node that was waited for in vain.
  void giveUp();
  /// Forgets what has come of a reply that won't be whole.
  void dropPart();

 private:
  struct Step {
    const RedisCommand* command;
    RedisReply* reply;
  };

  void write(RedisTime now);
  void fill();
  void read(RedisTime now);
  bool isAccepted(const RedisReply& reply);

  RedisConnection& connection_;
  const RedisTimes& times_;
  RedisCommand login_;
  RedisReply login_reply_;
  RedisReply asking_reply_;
  std::vector<Step> steps_;
  std::size_t written_ = 0;
  std::size_t received_ = 0;
  bool is_opening_ = false;
  RedisTime moved_;
};

/// Works on all pipelines at the same time, until each is over or the deadline is reached, which
/// haste brings nearer. Throws Interrupted as RedisHaste says.
void talk(std::span<RedisPipeline* const> pipelines, RedisTime deadline, const RedisHaste& haste);

}  // namespace audiomatch
