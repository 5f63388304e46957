#pragma once

#include <complex>
#include <cstddef>

namespace audio {

/// Turns `count` complex values into natural-log magnitudes, floored at one
/// millionth of the largest magnitude, minus the mean of them all.
///
/// Squares, their sum and the root are formed in single precision, the
/// logarithm in double and narrowed; the mean's sum runs in single precision over
/// groups of four values, each summed left to right before it joins the
/// running sum, then over the remaining values one by one.
///
/// @return false when the largest magnitude is below 2^-23 (silence, or no
///         value at all); `values` then hold the magnitudes
bool logMagnitudes(const std::complex<float>* spectrum, std::size_t count, float* values) noexcept;

}  // namespace audio
