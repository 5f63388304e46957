#pragma once

#include <cstddef>

namespace audio {

/// Replaces each of `count` values by its natural logarithm: that of the C
/// library in double precision, narrowed, to the bit.
///
/// Many at once: a polynomial gives each logarithm within a proven bound, and
/// the C library is asked only where a border between two narrowed values is about as
/// near as that, and for what is no positive normal number.
void replaceByLogarithms(float* values, std::size_t count) noexcept;

}  // namespace audio
