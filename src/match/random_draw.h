#pragma once

#include <cstdint>
#include <mutex>

namespace audio {

/// Draws from the process's one `lrand48` sequence, which the C library guards
/// against nobody: who draws holds the sequence for as long as the object
/// lives, so keep it short. Who seeds the generator from outside steers it.
class RandomDraws {
 public:
  RandomDraws();

  /// The next number of the sequence.
  std::uint32_t next() noexcept;

 private:
  std::lock_guard<std::mutex> hold_;
};

}  // namespace audio
