#include "tool/service/worker_pool.h"

#include <utility>

namespace audiomatch {

WorkerPool::WorkerPool(unsigned threads, std::size_t waiting) : most_waiting_(waiting) {
  try {
    for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { run(); });
  } catch (...) {
    // Those that there are would be waited for, and wait themselves.
    end();
    throw;
  }
}

WorkerPool::~WorkerPool() { end(); }

void WorkerPool::end() noexcept {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  changed_.notify_all();
  threads_.clear();
}

bool WorkerPool::post(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    if (queue_.size() >= most_waiting_) return false;
    queue_.push_back(std::move(work));
  }
  changed_.notify_one();
  return true;
}

void WorkerPool::run() {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return is_ending_ || !queue_.empty(); });
    if (queue_.empty()) return;
    const std::function<void()> work = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    work();
    lock.lock();
  }
}

}  // namespace audiomatch
