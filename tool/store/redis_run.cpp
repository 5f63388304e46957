#include "tool/store/redis_run.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

#include "tool/store/redis_failure.h"
#include "tool/store/redis_slot.h"

namespace audiomatch {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstPause{10};
constexpr milliseconds kLongestPause{320};
/// Nodes that disagree could send a command from one to the other for ever.
constexpr unsigned kMostRedirections = 8;

}  // namespace

RedisRun::RedisRun(RedisView& view, RedisLinks& links, const RedisTarget& target,
                   const RedisTimes& times, const RedisHaste& haste, Way way)
    : view_(view),
      links_(links),
      target_(target),
      times_(times),
      haste_(haste),
      way_(way),
      // The node's own patience ends before ours with it.
      wait_{{},
            {"WAIT", "1",
             std::to_string(std::max(std::min(times.replicas, times.command / 2).count(), 1L))}} {}

std::vector<RedisReply> RedisRun::replies(std::span<const RedisCommand> commands,
                                          RedisTime deadline) {
  commands_ = commands;
  deadline_ = deadline;
  replies_ = std::vector<RedisReply>(commands.size());
  pending_.reserve(commands.size());
  for (std::size_t i = 0; i < commands.size(); ++i) pending_.push_back({i});
  do {
    tryAll();
  } while (!pending_.empty() && prepareNext());
  if (!pending_.empty() && way_.waits) throwAway();
  for (const Pending& command : pending_) replies_[command.index] = {};
  return std::move(replies_);
}

void RedisRun::throwAway() const {
  const double seconds = std::chrono::duration<double>(times_.deadline).count();
  throwRedisAway(target_.url,
                 haste_.isBegun() ? problem_ : fmt::format("{} (after {:g} s)", problem_, seconds));
}

/// One round: all that is pending, to all nodes at the same time.
void RedisRun::tryAll() {
  is_outdated_ = false;
  has_failed_ = false;
  Round round;
  round.topology = view_.topology();
  round.of_master.resize(round.topology->masters().size());
  for (const Pending& command : std::exchange(pending_, {})) add(round, command);
  std::vector<RedisPipeline*> pipelines;
  for (Batch& batch : round.batches) {
    if (!batch.is_confirmed) batch.pipeline.add(wait_, batch.confirmation);
    pipelines.push_back(&batch.pipeline);
  }
  talk(pipelines, deadline_, haste_);
  for (Batch& batch : round.batches) settle(batch);
  ++rounds_;
}

void RedisRun::add(Round& round, const Pending& pending) {
  const RedisCommand& command = commands_[pending.index];
  Batch* batch = nullptr;
  if (pending.node) {
    batch = &batchFor(round, *pending.node);
  } else {
    const std::size_t index = masterFor(*round.topology, command);
    if (index == RedisTopology::kNobody) {
      return failed(pending, nullptr,
                    command.node.empty() ? "no node has the slot of " + command.key
                                         : command.node + " is no master");
    }
    Batch*& known = round.of_master[index];
    if (!known) known = &batchFor(round, round.topology->masters()[index].node);
    batch = known;
  }
  RedisReply& reply = replies_[pending.index];
  if (pending.is_asking) {
    batch->pipeline.addAsking(command, reply);
  } else {
    batch->pipeline.add(command, reply);
  }
  batch->pending.push_back(pending);
}

/// An index of the masters, or kNobody.
std::size_t RedisRun::masterFor(const RedisTopology& topology, const RedisCommand& command) const {
  const auto& masters = topology.masters();
  if (!command.node.empty()) {
    const auto found = std::ranges::find_if(
        masters, [&](const RedisMaster& master) { return master.node.name() == command.node; });
    return found == masters.end() ? RedisTopology::kNobody
                                  : static_cast<std::size_t>(found - masters.begin());
  }
  if (command.key.empty()) return rounds_ % masters.size();
  return topology.holderOf(redisSlotOf(command.key));
}

RedisRun::Batch& RedisRun::batchFor(Round& round, const RedisNode& node) {
  const auto found = std::ranges::find_if(
      round.batches, [&](const Batch& batch) { return batch.pipeline.node() == node; });
  if (found != round.batches.end()) return *found;
  Batch& batch = round.batches.emplace_back(links_.to(node), target_, times_);
  const std::size_t index = round.topology->indexOf(node);
  const bool has_replicas =
      index != RedisTopology::kNobody && round.topology->masters()[index].has_replicas;
  batch.is_confirmed = !(way_.is_durable && has_replicas);
  return batch;
}

void RedisRun::throwRefused(const RedisNode& node, const std::string& why) const {
  throwRedisRefused(target_.url, fmt::format("node {}: {}", node.name(), why));
}

void RedisRun::settle(Batch& batch) {
  if (batch.pipeline.isRefused()) {
    throwRefused(batch.pipeline.node(), batch.pipeline.connection().problem());
  }
  if (redisTroubleOf(batch.confirmation, batch.pipeline.node()).kind ==
      RedisTrouble::Kind::kRefused) {
    throwRefused(batch.pipeline.node(), batch.confirmation.text);
  }
  batch.is_confirmed = batch.is_confirmed || batch.confirmation.number > 0;
  for (const Pending& command : batch.pending) settle(batch, command);
}

void RedisRun::settle(Batch& batch, Pending command) {
  const RedisReply& reply = replies_[command.index];
  const RedisNode& node = batch.pipeline.node();
  if (reply.isUnavailable()) return failed(command, &node, batch.pipeline.connection().problem());
  if (!reply.isError()) {
    if (!batch.is_confirmed) {
      failed(command, &node,
             batch.confirmation.isError() ? batch.confirmation.text
                                          : "no replica of it has what it was told");
    }
    return;
  }
  const RedisTrouble trouble = redisTroubleOf(reply, node);
  switch (trouble.kind) {
    case RedisTrouble::Kind::kNone:
      return;
    case RedisTrouble::Kind::kRefused:
      throwRefused(node, reply.text);
    case RedisTrouble::Kind::kLater:
      return failed(command, &node, reply.text);
    case RedisTrouble::Kind::kScript:
      batch.pipeline.connection().forgetScripts();
      [[fallthrough]];
    case RedisTrouble::Kind::kMoved:
    case RedisTrouble::Kind::kAsk:
      follow(trouble, node, command);
  }
}

/// Sends a command where the node says.
void RedisRun::follow(const RedisTrouble& trouble, const RedisNode& sender, Pending command) {
  using Kind = RedisTrouble::Kind;
  problem_ = fmt::format("node {}: {}", sender.name(), replies_[command.index].text);
  if (trouble.kind != Kind::kScript) {
    command.node = &*redirected_.insert(trouble.node).first;
    command.is_asking = trouble.kind == Kind::kAsk;
  }
  if (trouble.kind == Kind::kMoved && !is_outdated_) {
    is_outdated_ = true;
    view_.trust(sender);
  }
  replies_[command.index] = {};
  pending_.push_back(command);
}

/// @param node  null when it is nobody's failure
void RedisRun::failed(Pending command, const RedisNode* node, const std::string& why) {
  if (node && !has_failed_) view_.suspect(*node);
  if (!has_failed_) problem_ = node ? fmt::format("node {}: {}", node->name(), why) : why;
  has_failed_ = true;
  is_outdated_ = true;
  replies_[command.index] = {};
  if (command.has_failed && !way_.waits) return;
  pending_.push_back({.index = command.index, .has_failed = true});
}

/// Waits where that may help, and looks who is there. False when it is time to end.
bool RedisRun::prepareNext() {
  if (has_failed_) ++fruitless_;
  deadline_ = haste_.bound(deadline_);
  if (!way_.waits && rounds_ > kMostRedirections) return false;
  // Once is at once: a connection may have been old, or a node replaced already.
  if ((way_.waits && fruitless_ > 1) || rounds_ > kMostRedirections) {
    const auto pause = kFirstPause * (1U << std::min(rounds_, 8U));
    const RedisTime then = RedisClock::now() + std::min<milliseconds>(pause, kLongestPause);
    if (!haste_.sleepUntil(std::min(then, deadline_))) return false;
  }
  if (RedisClock::now() >= deadline_) {
    if (is_outdated_) view_.expire();
    return false;
  }
  if (!is_outdated_) return true;
  const RedisView::Answer answer = view_.refresh(links_, deadline_);
  if (answer.is_refused) throwRedisRefused(target_.url, answer.problem);
  return true;
}

}  // namespace audiomatch
