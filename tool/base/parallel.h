#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace audiomatch {

/// Calls work(i) once for each i below `count` on up to `jobs` threads, this
/// one among them, in no particular order, and returns when all are done.
///
/// After work(i) returned, done() is called, one call at a time. The first
/// exception keeps work that hasn't begun from beginning and is rethrown.
template <typename Work, typename Done>
void forEachParallel(std::size_t count, unsigned jobs, Work work, Done done) {
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  std::exception_ptr failure;
  const auto run = [&] {
    try {
      for (std::size_t i = next++; i < count; i = next++) {
        work(i);
        const std::lock_guard lock(mutex);
        done();
      }
    } catch (...) {
      next = count;
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::current_exception();
    }
  };
  {
    std::vector<std::jthread> helpers;
    const std::size_t threads = std::min<std::size_t>(jobs, count);
    for (std::size_t i = 1; i < threads; ++i) helpers.emplace_back(run);
    run();
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace audiomatch
