#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "tool/store/redis_links.h"
#include "tool/store/redis_times.h"

namespace audiomatch {

/// Connections that are kept for whoever asks next. Any thread.
class RedisPool {
 public:
  /// Lent to one thread until it goes.
  class Lease {
   public:
    Lease(RedisPool& pool, std::unique_ptr<RedisLinks> links);
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    ~Lease();

    /// False when no connection became free in time.
    bool isGood() const noexcept { return links_ != nullptr; }
    RedisLinks& links() const noexcept { return *links_; }

   private:
    RedisPool& pool_;
    std::unique_ptr<RedisLinks> links_;
  };

  /// @param most  connections to each node, at least one
  explicit RedisPool(std::size_t most);

  /// The connections that were used last; waits while all are lent.
  Lease borrow(RedisTime deadline);

 private:
  void giveBack(std::unique_ptr<RedisLinks> links) noexcept;

  std::mutex mutex_;
  std::condition_variable returned_;
  std::vector<std::unique_ptr<RedisLinks>> idle_;
  std::size_t unmade_;
};

}  // namespace audiomatch
