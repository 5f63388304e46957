#include "tool/store/redis_haste.h"

#include <thread>

#include "tool/base/interrupt.h"

namespace audiomatch {

void RedisHaste::heedSignal() const {
  if (on_signal_ == OnSignal::kEnd) checkInterrupt();
}

bool RedisHaste::sleepUntil(RedisTime then) const {
  for (;;) {
    heedSignal();
    if (isBegun()) return false;
    const RedisTime now = RedisClock::now();
    if (now >= then) return true;
    std::this_thread::sleep_until(std::min(then, now + kBetweenLooks));
  }
}

}  // namespace audiomatch
