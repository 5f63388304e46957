#include "match/scoring/random_draws.h"

#include <cstdlib>
#include <mutex>

namespace audio {
namespace {

// The generator's step as POSIX gives it; lrand48 returns the upper 31 bits.
constexpr std::uint64_t kMultiplier = 0x5DEECE66D;
constexpr std::uint64_t kIncrement = 0xB;
constexpr std::uint64_t kStateMask = (std::uint64_t{1} << 48) - 1;

std::uint32_t drawFromProcess() noexcept {
  // lrand48 isn't thread-safe; the lock is held for the few nanoseconds of a step.
  static constinit std::mutex sequence;
  const std::lock_guard hold(sequence);
  return static_cast<std::uint32_t>(lrand48());
}

}  // namespace

std::uint32_t RandomDraws::next() noexcept {
  if (!own_) return drawFromProcess();
  state_ = (state_ * kMultiplier + kIncrement) & kStateMask;
  return static_cast<std::uint32_t>(state_ >> 17);
}

void RandomDraws::restart() noexcept {
  own_ = true;
  state_ = 0;
}

}  // namespace audio
