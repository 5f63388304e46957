#include "match/random_draw.h"

#include <cstdlib>
#include <mutex>

namespace audio {
namespace {

constinit std::mutex sequence;

}  // namespace

std::uint32_t drawRandom() noexcept {
  // lrand48 isn't thread-safe; the lock is held for the few nanoseconds of a step.
  const std::lock_guard hold(sequence);
  return static_cast<std::uint32_t>(lrand48());
}

}  // namespace audio
