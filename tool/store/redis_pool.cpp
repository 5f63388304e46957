#include "tool/store/redis_pool.h"

#include <utility>

namespace audiomatch {

RedisPool::Lease::Lease(RedisPool& pool, std::unique_ptr<RedisLinks> links)
    : pool_(pool), links_(std::move(links)) {}

RedisPool::Lease::~Lease() {
  if (links_) pool_.giveBack(std::move(links_));
}

RedisPool::RedisPool(std::size_t most) : unmade_(most) { idle_.reserve(most); }

RedisPool::Lease RedisPool::borrow(RedisTime deadline) {
  std::unique_lock lock(mutex_);
  returned_.wait_until(lock, deadline, [&] { return !idle_.empty() || unmade_ > 0; });
  std::unique_ptr<RedisLinks> links;
  if (!idle_.empty()) {
    links = std::move(idle_.back());
    idle_.pop_back();
  } else if (unmade_ > 0) {
    links = std::make_unique<RedisLinks>();
    --unmade_;
  }
  return {*this, std::move(links)};
}

void RedisPool::giveBack(std::unique_ptr<RedisLinks> links) noexcept {
  {
    const std::lock_guard lock(mutex_);
    idle_.push_back(std::move(links));  // there is room
  }
  returned_.notify_one();
}

}  // namespace audiomatch
