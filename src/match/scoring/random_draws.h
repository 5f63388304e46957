#pragma once

#include <cstdint>

namespace audio {

/// The random numbers of scoring: those of POSIX `lrand48`.
///
/// A new object draws from the process's one sequence, which goes on from match
/// to match and from matcher to matcher: whoever seeds it from outside steers
/// the draws. `restart` gives the object a sequence of its own.
class RandomDraws {
 public:
  /// The next number, below 2^31. Several threads may draw from the process's
  /// sequence; an object with its own is one thread's at a time.
  std::uint32_t next() noexcept;

  /// From here on the numbers come from a sequence of the object's own, at its
  /// start: the same numbers after every call, whatever others draw.
  void restart() noexcept;

 private:
  bool own_ = false;
  std::uint64_t state_ = 0;  // 48 bits
};

}  // namespace audio
