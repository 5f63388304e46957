#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "tool/store/redis_command.h"
#include "tool/store/redis_haste.h"
#include "tool/store/redis_links.h"
#include "tool/store/redis_pipeline.h"
#include "tool/store/redis_reply.h"
#include "tool/store/redis_trouble.h"
#include "tool/store/redis_view.h"

namespace audiomatch {

/// Commands on their way: sent to all their nodes at the same time, and those that have
/// no reply yet again, until all have or it is time to end.
class RedisRun {
 public:
  struct Way {
    bool waits = true;        ///< for nodes to come back, else each command has two tries
    bool is_durable = false;  ///< a master's reply counts when a replica has it all
  };

  /// All live longer than the run.
  RedisRun(RedisView& view, RedisLinks& links, const RedisTarget& target, const RedisTimes& times,
           const RedisHaste& haste, Way way);

  /// The replies, in the order of the commands. Throws StoreError when the deadline is
  /// reached by a run that waits, or haste ends it, StoreRefusal when a node doesn't accept
  /// the user, and Interrupted.
  std::vector<RedisReply> replies(std::span<const RedisCommand> commands, RedisTime deadline);

 private:
  struct Pending {
    std::size_t index;
    const RedisNode* node = nullptr;  // where a node said that it has to go
    bool is_asking = false;
    bool has_failed = false;
  };
  struct Batch {
    Batch(RedisConnection& connection, const RedisTarget& target, const RedisTimes& times)
        : pipeline(connection, target, times) {}

    RedisPipeline pipeline;
    std::vector<Pending> pending;
    bool is_confirmed = true;  // or has to be, by a replica
    RedisReply confirmation;
  };
  /// What of a cluster one round goes by.
  struct Round {
    std::shared_ptr<const RedisTopology> topology;
    std::deque<Batch> batches;
    std::vector<Batch*> of_master;
  };

  void tryAll();
  void add(Round& round, const Pending& pending);
  std::size_t masterFor(const RedisTopology& topology, const RedisCommand& command) const;
  Batch& batchFor(Round& round, const RedisNode& node);
  void settle(Batch& batch);
  void settle(Batch& batch, Pending command);
  void follow(const RedisTrouble& trouble, const RedisNode& sender, Pending command);
  void failed(Pending command, const RedisNode* node, const std::string& why);
  bool prepareNext();
  [[noreturn]] void throwAway() const;
  [[noreturn]] void throwRefused(const RedisNode& node, const std::string& why) const;

  RedisView& view_;
  RedisLinks& links_;
  const RedisTarget& target_;
  const RedisTimes& times_;
  const RedisHaste& haste_;
  const Way way_;
  const RedisCommand wait_;
  std::span<const RedisCommand> commands_;
  RedisTime deadline_;
  std::vector<RedisReply> replies_;
  std::vector<Pending> pending_;
  std::set<RedisNode> redirected_;
  std::string problem_;  // the last one
  unsigned rounds_ = 0;
  unsigned fruitless_ = 0;    // rounds after which something had failed
  bool is_outdated_ = false;  // the topology
  bool has_failed_ = false;   // something, in this round
};

}  // namespace audiomatch
