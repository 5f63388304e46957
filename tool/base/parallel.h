#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

namespace audiomatch {

/// Calls work(i), or work(i, thread) with the thread's number from 0 on, once for each i
/// below `count` on up to `jobs` threads, this one among them, in no particular
/// order, and returns when all are done.
///
/// After work returned, done() is called, one call at a time. The first
/// exception keeps work that hasn't begun from beginning and is rethrown.
template <typename Work, typename Done>
void forEachParallel(std::size_t count, unsigned jobs, Work work, Done done) {
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  std::exception_ptr failure;
  const auto run = [&](unsigned thread) {
    try {
      for (std::size_t i = next++; i < count; i = next++) {
        if constexpr (std::is_invocable_v<Work, std::size_t, unsigned>) {
          work(i, thread);
        } else {
          work(i);
        }
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
    const auto threads = static_cast<unsigned>(std::min<std::size_t>(jobs, count));
    for (unsigned i = 1; i < threads; ++i) helpers.emplace_back(run, i);
    run(0);
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace audiomatch
