#include "match/random_draw.h"

#include <cstdlib>
#include <mutex>

namespace audio {

std::uint32_t drawRandom() noexcept {
  // The C library guards its one generator state against nobody. The lock is
  // held for the few nanoseconds of one step.
  static constinit std::mutex generator;
  const std::lock_guard lock(generator);
  return static_cast<std::uint32_t>(lrand48());
}

}  // namespace audio
