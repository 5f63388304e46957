#pragma once

#include <map>

#include "tool/store/redis_connection.h"

namespace audiomatch {

/// A connection to each node of a cluster, for one thread at a time.
class RedisLinks {
 public:
  /// The connection to a node; not open when it is the first time.
  RedisConnection& to(const RedisNode& node) {
    return links_.try_emplace(node, node).first->second;
  }

  std::size_t size() const noexcept { return links_.size(); }
  /// Closes those to nodes that `isKnown` doesn't know.
  template <typename IsKnown>
  void keepOnly(IsKnown is_known) {
    std::erase_if(links_, [&](const auto& link) { return !is_known(link.first); });
  }

 private:
  std::map<RedisNode, RedisConnection> links_;
};

}  // namespace audiomatch
