#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>

#include "tool/store/redis_times.h"

namespace audiomatch {

/// What a signal that an InterruptGuard has noted does to runs.
enum class OnSignal : std::uint8_t {
  kEnd,   ///< it ends them, by Interrupted
  kGoOn,  ///< nothing
};

/// What has runs end before their time: their cluster's owner, who is in haste, or a signal.
/// Any thread.
class RedisHaste {
 public:
  explicit RedisHaste(OnSignal on_signal) noexcept : on_signal_(on_signal) {}

  /// From now on nothing waits for a node that is away.
  void begin() noexcept { is_begun_ = true; }
  bool isBegun() const noexcept { return is_begun_; }

  /// A deadline, which is at most two seconds from now when haste has begun.
  RedisTime bound(RedisTime deadline) const noexcept {
    return isBegun() ? std::min(deadline, RedisClock::now() + kLongest) : deadline;
  }

  /// Throws Interrupted when there was a signal that ends runs.
  void heedSignal() const;

  /// Sleeps. False when haste began before or meanwhile. Throws as heedSignal does.
  bool sleepUntil(RedisTime then) const;

  /// Who waits looks this often.
  static constexpr std::chrono::milliseconds kBetweenLooks{50};

 private:
  static constexpr std::chrono::milliseconds kLongest{2000};

  const OnSignal on_signal_;
  std::atomic<bool> is_begun_ = false;
};

}  // namespace audiomatch
