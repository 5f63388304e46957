#include "tool/service/worker_pool.h"

#include <fmt/core.h>

#include <system_error>
#include <utility>

namespace audiomatch {

WorkerPool::WorkerPool(unsigned threads, std::size_t waiting, std::size_t queues)
    : most_waiting_(waiting), queues_(queues) {
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

bool WorkerPool::post(std::size_t queue, std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    if (queues_[queue].size() >= most_waiting_) return false;
    queues_[queue].push_back(std::move(work));
  }
  changed_.notify_one();
  return true;
}

void WorkerPool::run() {
  std::unique_lock lock(mutex_);
  while (true) {
    Queue* queue = nullptr;
    changed_.wait(lock, [&] { return (queue = next()) || is_ending_; });
    if (!queue) return;
    std::function<void()> work = std::move(queue->front());
    queue->pop_front();
    lock.unlock();
    work();
    // What it holds goes before the lock comes.
    work = nullptr;
    lock.lock();
  }
}

/// The queue whose turn it is among those that aren't empty; null when all are.
WorkerPool::Queue* WorkerPool::next() {
  for (std::size_t i = 0; i < queues_.size(); ++i) {
    Queue& queue = queues_[turn_++ % queues_.size()];
    if (!queue.empty()) return &queue;
  }
  return nullptr;
}

}  // namespace audiomatch
