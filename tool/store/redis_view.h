#pragma once

#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tool/store/redis_haste.h"
#include "tool/store/redis_links.h"
#include "tool/store/redis_times.h"
#include "tool/store/redis_topology.h"

namespace audiomatch {

/// What is known of a cluster, and whom to ask about it. Any thread.
class RedisView {
 public:
  /// All live as long as the view.
  RedisView(const RedisTarget& target, const RedisTimes& times, const RedisHaste& haste);

  /// What was heard last; null before.
  std::shared_ptr<const RedisTopology> topology() const;
  /// What is known seems wrong, and nobody has time to ask: the next one has to.
  void expire();
  /// Whether it was heard after `since`, and not expired.
  bool isNewerThan(RedisTime since) const;

  /// What came of asking.
  struct Answer {
    bool is_new = false;
    bool is_refused = false;   ///< a node doesn't want to be asked, now or later
    bool is_later = false;     ///< a node is there, and will tell later
    std::string problem = {};  ///< why nobody told: the node and what is wrong with it
  };
  /// Asks one node after the other, until one tells.
  Answer refresh(RedisLinks& links, RedisTime deadline);

  /// This node is to be asked first, as it knows more than others.
  void trust(const RedisNode& node);
  /// This node is to be asked last, as it doesn't answer.
  void suspect(const RedisNode& node);
  /// Closes connections to nodes that have left, when there are many.
  void forgetOthers(RedisLinks& links) const;

 private:
  Answer ask(RedisLinks& links, const RedisNode& node, RedisTime deadline);
  void keep(RedisTopology topology, const RedisNode& teller);

  const RedisTarget& target_;
  const RedisTimes& times_;
  const RedisHaste& haste_;
  mutable std::mutex mutex_;
  std::shared_ptr<const RedisTopology> topology_;
  RedisTime heard_;
  std::vector<RedisNode> known_;  // in the order in which they are asked
};

}  // namespace audiomatch
