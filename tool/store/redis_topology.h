#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tool/store/redis_reply.h"
#include "tool/store/redis_slot.h"
#include "tool/store/redis_target.h"

namespace audiomatch {

/// A node that holds keys.
struct RedisMaster {
  RedisNode node;
  bool has_replicas = false;  ///< that work, as far as the cluster knows
};

/// Which node of a cluster holds which slots.
class RedisTopology {
 public:
  static constexpr std::size_t kNobody = SIZE_MAX;

  /// Of one node that has all slots.
  explicit RedisTopology(RedisNode single);
  /// Of the reply to CLUSTER SLOTS. Nothing if it isn't one, or tells of no slot.
  /// @param asked  who gave it, which doesn't always know its own name
  static std::optional<RedisTopology> fromSlots(const RedisReply& reply, const RedisNode& asked);

  const std::vector<RedisMaster>& masters() const noexcept { return masters_; }
  const std::vector<RedisNode>& replicas() const noexcept { return replicas_; }
  /// An index of masters(), or kNobody.
  std::size_t holderOf(std::size_t slot) const noexcept {
    return holders_[slot] < masters_.size() ? holders_[slot] : kNobody;
  }
  /// An index of masters(), or kNobody.
  std::size_t indexOf(const RedisNode& node) const noexcept;

 private:
  RedisTopology() { holders_.fill(UINT16_MAX); }
  bool addRange(const RedisReply& range, const RedisNode& asked);

  std::vector<RedisMaster> masters_;
  std::vector<RedisNode> replicas_;
  std::array<std::uint16_t, kRedisSlots> holders_{};
};

}  // namespace audiomatch
