#include "tool/service/worker_pool.h"

#include <fmt/core.h>

#include <system_error>
#include <utility>

namespace audiomatch {

WorkerPool::WorkerPool(unsigned threads, std::size_t waiting) : most_waiting_(waiting) {
  try {
    for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { run(); });
  } catch (const std::system_error& error) {
    // Those that there are would be waited for, and wait themselves.
    end();
    throw std::system_error(error.code(), fmt::format("{} threads can't be started", threads));
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
    changed_.wait(lock, [this] { return !queue_.empty() || is_ending_; });
    if (queue_.empty()) return;
    std::function<void()> work = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    work();
    // What it holds goes before the lock comes.
    work = nullptr;
    lock.lock();
  }
}

}  // namespace audiomatch
