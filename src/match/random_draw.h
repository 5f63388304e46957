#pragma once

#include <cstdint>

namespace audio {

/// The next number of the process's one `lrand48` sequence. Several threads may
/// draw; who seeds the generator from outside steers it.
std::uint32_t drawRandom() noexcept;

}  // namespace audio
