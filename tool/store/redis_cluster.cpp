#include "tool/store/redis_cluster.h"

#include <utility>

#include "tool/store/redis_failure.h"
#include "tool/store/redis_pool.h"
#include "tool/store/redis_run.h"
#include "tool/store/redis_view.h"

namespace audiomatch {
namespace {

constexpr std::size_t kMostConnections = 64;  // to a node
/// A replica that came later than the topology would go unnoticed.
constexpr std::chrono::seconds kReplicasKnownFor{1};
constexpr std::chrono::milliseconds kPause{100};

}  // namespace

struct RedisCluster::Parts {
  Parts(RedisTarget named, const RedisTimes& allowed, OnSignal on_signal)
      : target(std::move(named)), times(allowed), haste(on_signal) {}

  /// Of what begins now and may take some time.
  RedisTime deadlineOf(std::chrono::milliseconds time) const {
    return haste.bound(RedisClock::now() + time);
  }
  /// Throws when there are no connections.
  void require(const RedisPool::Lease& lease) const;
  void refresh(RedisLinks& links, RedisTime deadline);
  std::vector<RedisReply> run(std::span<const RedisCommand> commands, RedisRun::Way way,
                              RedisLinks& links, RedisTime deadline);

  const RedisTarget target;
  const RedisTimes times;
  RedisHaste haste;
  RedisView view{target, times, haste};
  RedisPool pool{kMostConnections};
};

void RedisCluster::Parts::require(const RedisPool::Lease& lease) const {
  if (!lease.isGood()) throwRedisAway(target.url, "all connections are in use, as nodes are slow");
}

/// Asks until somebody tells, as long as somebody says that he will.
void RedisCluster::Parts::refresh(RedisLinks& links, RedisTime deadline) {
  for (;;) {
    const RedisView::Answer answer = view.refresh(links, deadline);
    if (answer.is_new) return;
    if (answer.is_refused) throwRedisRefused(target.url, answer.problem);
    const bool is_time_left = RedisClock::now() + kPause < deadline;
    if (!answer.is_later || !is_time_left || !haste.sleepUntil(RedisClock::now() + kPause)) {
      throwRedisAway(target.url, answer.problem);
    }
  }
}

std::vector<RedisReply> RedisCluster::Parts::run(std::span<const RedisCommand> commands,
                                                 RedisRun::Way way, RedisLinks& links,
                                                 RedisTime deadline) {
  const RedisTime since = way.is_durable ? RedisClock::now() - kReplicasKnownFor : RedisTime::min();
  // Where nobody tells, the run finds out.
  if (!view.isNewerThan(since)) view.refresh(links, deadline);
  auto replies = RedisRun(view, links, target, times, haste, way).replies(commands, deadline);
  view.forgetOthers(links);
  return replies;
}

RedisCluster::RedisCluster(RedisTarget target, const RedisTimes& times, OnSignal on_signal)
    : parts_(std::make_unique<Parts>(std::move(target), times, on_signal)) {
  masters();
}

RedisCluster::~RedisCluster() = default;

void RedisCluster::cancel() noexcept { parts_->haste.begin(); }

const std::string& RedisCluster::url() const noexcept { return parts_->target.url; }

std::vector<RedisReply> RedisCluster::run(std::span<const RedisCommand> commands, RedisEnd end) {
  const bool waits = end == RedisEnd::kWait;
  const RedisTime deadline =
      parts_->deadlineOf(waits ? parts_->times.deadline : parts_->times.partial);
  const RedisPool::Lease lease = parts_->pool.borrow(deadline);
  if (!waits && !lease.isGood()) return std::vector<RedisReply>(commands.size());
  parts_->require(lease);
  return parts_->run(commands, {.waits = waits}, lease.links(), deadline);
}

std::vector<RedisReply> RedisCluster::runDurably(std::span<const RedisCommand> commands) {
  const RedisTime deadline = parts_->deadlineOf(parts_->times.deadline);
  const RedisPool::Lease lease = parts_->pool.borrow(deadline);
  parts_->require(lease);
  return parts_->run(commands, {.is_durable = true}, lease.links(), deadline);
}

std::vector<std::string> RedisCluster::masters() {
  const RedisTime deadline = parts_->deadlineOf(parts_->times.deadline);
  const RedisPool::Lease lease = parts_->pool.borrow(deadline);
  parts_->require(lease);
  parts_->refresh(lease.links(), deadline);
  std::vector<std::string> names;
  for (const RedisMaster& master : parts_->view.topology()->masters()) {
    names.push_back(master.node.name());
  }
  return names;
}

}  // namespace audiomatch
