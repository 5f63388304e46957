#include "tool/store/redis_view.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

#include "tool/store/redis_pipeline.h"
#include "tool/store/redis_trouble.h"

namespace audiomatch {
namespace {

/// Moves a node that is there to a place; the others keep their order.
void moveTo(std::vector<RedisNode>& nodes, const RedisNode& node, bool is_front) {
  const auto found = std::ranges::find(nodes, node);
  if (found == nodes.end()) return;
  if (is_front) {
    std::rotate(nodes.begin(), found, found + 1);
  } else {
    std::rotate(found, found + 1, nodes.end());
  }
}

bool isPlain(const RedisReply& reply) {
  return reply.isError() && reply.text.find("cluster support disabled") != std::string::npos;
}

}  // namespace

RedisView::RedisView(const RedisTarget& target, const RedisTimes& times, const RedisHaste& haste)
    : target_(target), times_(times), haste_(haste), known_(target.nodes) {}

std::shared_ptr<const RedisTopology> RedisView::topology() const {
  const std::lock_guard lock(mutex_);
  return topology_;
}

void RedisView::expire() {
  const std::lock_guard lock(mutex_);
  heard_ = RedisTime::min();
}

bool RedisView::isNewerThan(RedisTime since) const {
  const std::lock_guard lock(mutex_);
  return topology_ && heard_ > since;
}

void RedisView::trust(const RedisNode& node) {
  const std::lock_guard lock(mutex_);
  moveTo(known_, node, true);
}

void RedisView::suspect(const RedisNode& node) {
  const std::lock_guard lock(mutex_);
  moveTo(known_, node, false);
}

void RedisView::forgetOthers(RedisLinks& links) const {
  const std::lock_guard lock(mutex_);
  if (links.size() <= known_.size()) return;
  links.keepOnly([&](const RedisNode& node) { return std::ranges::count(known_, node) > 0; });
}

RedisView::Answer RedisView::refresh(RedisLinks& links, RedisTime deadline) {
  std::vector<RedisNode> nodes;
  {
    const std::lock_guard lock(mutex_);
    nodes = known_;
  }
  Answer answer;
  for (const RedisNode& node : nodes) {
    deadline = haste_.bound(deadline);
    if (!answer.problem.empty() && RedisClock::now() >= deadline) break;
    Answer next = ask(links, node, deadline);
    if (next.is_new) return next;
    answer.is_later = answer.is_later || next.is_later;
    // Of several problems the first, as from that node most was expected.
    if (answer.problem.empty() || (next.is_refused && !answer.is_refused)) {
      answer.problem = std::move(next.problem);
    }
    answer.is_refused = answer.is_refused || next.is_refused;
  }
  return answer;
}

RedisView::Answer RedisView::ask(RedisLinks& links, const RedisNode& node, RedisTime deadline) {
  const RedisCommand command{{}, {"CLUSTER", "SLOTS"}};
  RedisReply reply;
  RedisPipeline pipeline(links.to(node), target_, times_);
  pipeline.add(command, reply);
  RedisPipeline* const only[] = {&pipeline};
  talk(only, deadline, haste_);
  auto topology = isPlain(reply) ? RedisTopology(node) : RedisTopology::fromSlots(reply, node);
  if (topology) {
    keep(std::move(*topology), node);
    return {.is_new = true};
  }
  suspect(node);
  const bool is_later = redisTroubleOf(reply, node).kind == RedisTrouble::Kind::kLater;
  const std::string why = reply.isUnavailable() ? pipeline.connection().problem()
                          : reply.isError()     ? reply.text
                                                : "it belongs to no cluster that holds anything";
  return {.is_refused = pipeline.isRefused() || (reply.isError() && !is_later),
          .is_later = is_later,
          .problem = fmt::format("node {}: {}", node.name(), why)};
}

void RedisView::keep(RedisTopology topology, const RedisNode& teller) {
  std::vector<RedisNode> known{teller};
  for (const RedisMaster& master : topology.masters()) known.push_back(master.node);
  for (const auto* nodes : {&topology.replicas(), &target_.nodes}) {
    known.insert(known.end(), nodes->begin(), nodes->end());
  }
  // Each once, at its first place.
  auto end = known.begin();
  for (auto it = known.begin(); it != known.end(); ++it) {
    if (std::find(known.begin(), end, *it) == end) std::iter_swap(end++, it);
  }
  known.erase(end, known.end());
  auto shared = std::make_shared<const RedisTopology>(std::move(topology));
  const std::lock_guard lock(mutex_);
  topology_ = std::move(shared);
  known_ = std::move(known);
  heard_ = RedisClock::now();
}

}  // namespace audiomatch
