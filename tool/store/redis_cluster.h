#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tool/store/redis_command.h"
#include "tool/store/redis_haste.h"
#include "tool/store/redis_reply.h"
#include "tool/store/redis_target.h"
#include "tool/store/redis_times.h"

namespace audiomatch {

/// When a run ends.
enum class RedisEnd : std::uint8_t {
  kWait,     ///< with all replies; it waits for nodes that are away
  kPartial,  ///< soon, with the replies that can be had; others are kUnavailable
};

/// A client of a Redis Cluster, or of a single Redis.
///
/// A run sends each node all of its commands at once, works on all nodes at the same time,
/// and follows slots that have moved or are about to. Only masters are asked. Commands of a
/// run keep their order per key as long as none has to be sent again. Partial replies need
/// `cluster-require-full-coverage no` on the nodes. Any thread; 64 runs at a time, others
/// wait for one to end. A signal that an InterruptGuard notes ends all that is under way by
/// Interrupted, unless the cluster is told otherwise.
class RedisCluster {
 public:
  /// Asks the nodes who is who. Throws StoreError when none of them tells.
  explicit RedisCluster(RedisTarget target, const RedisTimes& times = {},
                        OnSignal on_signal = OnSignal::kEnd);
  RedisCluster(const RedisCluster&) = delete;
  RedisCluster& operator=(const RedisCluster&) = delete;
  ~RedisCluster();

  /// The replies, in the order of the commands; an error that a command itself causes is a
  /// reply. Throws StoreRefusal, which names the node, when the user isn't accepted or may
  /// not do this, and StoreError with kWait when something is still missing at the deadline: any
  /// of the commands may have been done then.
  std::vector<RedisReply> run(std::span<const RedisCommand> commands,
                              RedisEnd end = RedisEnd::kWait);

  /// As run with kWait, and a reply counts only when a replica of the node has what it was
  /// told, where the cluster knows of a working one: what is lost with the node is sent
  /// again. Redis may still lose it when a machine stops and its Redis is back, without what
  /// wasn't on disk, before the replica takes over (see `appendfsync`).
  std::vector<RedisReply> runDurably(std::span<const RedisCommand> commands);

  /// The nodes that hold keys now, HOST:PORT each. Throws StoreError as run does.
  std::vector<std::string> masters();

  /// From now on nothing waits for nodes that are away: what does ends at once with
  /// StoreError, and whatever else is under way or comes has two seconds at most.
  void cancel() noexcept;

  /// The URL without a password.
  const std::string& url() const noexcept;

 private:
  struct Parts;

  std::unique_ptr<Parts> parts_;
};

}  // namespace audiomatch
