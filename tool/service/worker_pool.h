#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace audiomatch {

/// Threads that do what is put in queues of bounded length: of each in its order, and
/// of several in turn, so that none waits for all that is in another.
class WorkerPool {
 public:
  /// Throws std::system_error when there can't be so many threads.
  ///
  /// @param threads  at least one
  /// @param waiting  most pieces of work that may wait in a queue
  /// @param queues   their number
  WorkerPool(unsigned threads, std::size_t waiting, std::size_t queues);
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;
  /// Does what is in the queues, then ends.
  ~WorkerPool();

  /// Queues a piece of work, which throws nothing. False when too many wait.
  bool post(std::size_t queue, std::function<void()> work);

 private:
  using Queue = std::deque<std::function<void()>>;

  void run();
  Queue* next();
  void end() noexcept;

  const std::size_t most_waiting_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Queue> queues_;
  std::size_t turn_ = 0;
  bool is_ending_ = false;
  std::vector<std::jthread> threads_;  // last: they use the rest
};

}  // namespace audiomatch
