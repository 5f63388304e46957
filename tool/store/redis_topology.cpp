#include "tool/store/redis_topology.h"

#include <algorithm>
#include <utility>

namespace audiomatch {
namespace {

using Kind = RedisReply::Kind;

/// A node as CLUSTER SLOTS gives it: host, port and more.
std::optional<RedisNode> nodeOf(const RedisReply& reply, const RedisNode& asked) {
  if (reply.list.size() < 2 || reply.list[1].kind != Kind::kInteger) return {};
  const RedisReply& host = reply.list[0];
  if (host.kind != Kind::kString && host.kind != Kind::kNil) return {};
  // Without a host it is reached as the one that was asked; '?' is one that nobody may know.
  if (host.text == "?") return {};
  return RedisNode{host.text.empty() ? asked.host : host.text,
                   static_cast<int>(reply.list[1].number)};
}

}  // namespace

RedisTopology::RedisTopology(RedisNode single) { masters_.push_back({std::move(single)}); }

std::size_t RedisTopology::indexOf(const RedisNode& node) const noexcept {
  const auto found = std::ranges::find(masters_, node, &RedisMaster::node);
  return found == masters_.end() ? kNobody : static_cast<std::size_t>(found - masters_.begin());
}

/// First slot, last slot, master, replicas.
bool RedisTopology::addRange(const RedisReply& range, const RedisNode& asked) {
  const auto& parts = range.list;
  if (parts.size() < 3 || parts[0].kind != Kind::kInteger || parts[1].kind != Kind::kInteger) {
    return false;
  }
  const std::int64_t first = parts[0].number;
  const std::int64_t last = parts[1].number;
  if (first < 0 || last < first || last >= static_cast<std::int64_t>(kRedisSlots)) return false;
  const auto node = nodeOf(parts[2], asked);
  if (!node) return true;
  std::size_t index = indexOf(*node);
  if (index == kNobody) {
    index = masters_.size();
    masters_.push_back({*node, parts.size() > 3});
    for (std::size_t i = 3; i < parts.size(); ++i) {
      if (auto replica = nodeOf(parts[i], asked)) replicas_.push_back(std::move(*replica));
    }
  }
  std::fill(holders_.begin() + first, holders_.begin() + last + 1,
            static_cast<std::uint16_t>(index));
  return true;
}

std::optional<RedisTopology> RedisTopology::fromSlots(const RedisReply& reply,
                                                      const RedisNode& asked) {
  RedisTopology topology;
  for (const RedisReply& range : reply.list) {
    if (!topology.addRange(range, asked)) return {};
  }
  if (topology.masters_.empty()) return {};
  return topology;
}

}  // namespace audiomatch
