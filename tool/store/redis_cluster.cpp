#include "tool/store/redis_cluster.h"

#include <thread>
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
  Parts(RedisTarget named, const RedisTimes& allowed) : target(std::move(named)), times(allowed) {}

  /// Throws when there are no connections.
  void require(const RedisPool::Lease& lease) const;
  void refresh(RedisLinks& links, RedisTime deadline);
  std::vector<RedisReply> run(std::span<const RedisCommand> commands, RedisRun::Way way,
                              RedisLinks& links, RedisTime deadline);

  const RedisTarget target;
  const RedisTimes times;
  RedisView view{target, times};
  RedisPool pool{kMostConnections};
};

void RedisCluster::Parts::require(const RedisPool::Lease& lease) const {
  if (!lease.isGood()) throwRedisAway(target, "all connections are in use, as nodes are slow");
}

/// Asks until somebody tells, as long as somebody says that he will.
void RedisCluster::Parts::refresh(RedisLinks& links, RedisTime deadline) {
  for (;;) {
    const RedisView::Answer answer = view.refresh(links, deadline);
    if (answer.is_new) return;
    if (answer.is_refused) throwRedisRefused(target, answer.problem);
    const bool is_time_left = RedisClock::now() + kPause < deadline;
    if (!answer.is_later || !is_time_left) throwRedisAway(target, answer.problem);
    std::this_thread::sleep_for(kPause);
  }
}

std::vector<RedisReply> RedisCluster::Parts::run(std::span<const RedisCommand> commands,
                                                 RedisRun::Way way, RedisLinks& links,
                                                 RedisTime deadline) {
  const RedisTime since = way.is_durable ? RedisClock::now() - kReplicasKnownFor : RedisTime::min();
  // Where nobody tells, the run finds out.
  if (!view.isNewerThan(since)) view.refresh(links, deadline);
  auto replies = RedisRun(view, links, target, times, way).replies(commands, deadline);
  view.forgetOthers(links);
  return replies;
}

RedisCluster::RedisCluster(RedisTarget target, const RedisTimes& times)
    : parts_(std::make_unique<Parts>(std::move(target), times)) {
  masters();
}

RedisCluster::~RedisCluster() = default;

const std::string& RedisCluster::url() const noexcept { return parts_->target.url; }

std::vector<RedisReply> RedisCluster::run(std::span<const RedisCommand> commands, RedisEnd end) {
  const bool waits = end == RedisEnd::kWait;
  const RedisTime deadline =
      RedisClock::now() + (waits ? parts_->times.deadline : parts_->times.partial);
  const RedisPool::Lease lease = parts_->pool.borrow(deadline);
  if (!waits && !lease.isGood()) return std::vector<RedisReply>(commands.size());
  parts_->require(lease);
  return parts_->run(commands, {.waits = waits}, lease.links(), deadline);
}

std::vector<RedisReply> RedisCluster::runDurably(std::span<const RedisCommand> commands) {
  const RedisTime deadline = RedisClock::now() + parts_->times.deadline;
  const RedisPool::Lease lease = parts_->pool.borrow(deadline);
  parts_->require(lease);
  return parts_->run(commands, {.is_durable = true}, lease.links(), deadline);
}

std::vector<std::string> RedisCluster::masters() {
  const RedisTime deadline = RedisClock::now() + parts_->times.deadline;
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
