#pragma once

#include <complex>
#include <cstddef>

namespace audio {

/// Writes the magnitudes of `count` complex values, such as one frame's, and
/// returns the largest, at least 0. Squares, their sum and the root are formed in
/// single precision.
float magnitudes(const std::complex<float>* spectrum, std::size_t count, float* values) noexcept;

/// Turns `count` magnitudes into natural-log magnitudes, floored at one millionth
/// of the largest, minus the mean of them all.
///
/// The logarithm is formed in double precision and narrowed; the mean's sum runs in
/// single precision over groups of four values, each summed left to right before
/// it joins the running sum, then over the remaining values one by one.
///
/// @param largest  of the magnitudes
/// @return false when that is below 2^-23 (silence, or no value at all); the
///         magnitudes are then untouched
bool logMagnitudes(float* values, std::size_t count, float largest) noexcept;

}  // namespace audio
