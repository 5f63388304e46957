#pragma once

#include <chrono>

namespace audiomatch {

using RedisClock = std::chrono::steady_clock;
using RedisTime = RedisClock::time_point;

/// How long what may take.
struct RedisTimes {
  std::chrono::milliseconds connect{1000};     ///< until a node accepts a connection
  std::chrono::milliseconds command{2000};     ///< without a byte to or from a node that owes some
  std::chrono::milliseconds replicas{1000};    ///< until a replica has what its master was told
  std::chrono::milliseconds partial{500};      ///< a whole run that ends with what it has
  std::chrono::milliseconds deadline{30'000};  ///< a whole run that waits for nodes to come back
};

}  // namespace audiomatch
