#pragma once

#include <cstdint>

namespace audiomatch {

/// The 16-bit sample that a recorder makes of a decoded one: times 32767, to
/// the nearest integer (halves away from zero), cut to what 16 bits hold. What
/// isn't a number is silence.
std::int16_t toPcm16(float sample) noexcept;

}  // namespace audiomatch
