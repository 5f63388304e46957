#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace audiomatch {

/// Threads that do what is put in a queue of bounded length, in its order.
class WorkerPool {
 public:
  /// Throws std::system_error when there can't be so many threads.
  ///
  /// @param threads  at least one
  /// @param waiting  most pieces of work that may wait
  WorkerPool(unsigned threads, std::size_t waiting);
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;
  /// Does what is in the queue, then ends.
  ~WorkerPool();

  /// Queues a piece of work, which throws nothing. False when too many wait.
  bool post(std::function<void()> work);

 private:
  void run();
  void end() noexcept;

  const std::size_t most_waiting_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> queue_;
  bool is_ending_ = false;
  std::vector<std::jthread> threads_;  // last: they use the rest
};

}  // namespace audiomatch
