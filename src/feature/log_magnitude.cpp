#include "feature/log_magnitude.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>

#include "feature/float_logarithm.h"

namespace audio {
namespace {

/// The largest value, at least 0. Lanes only reorder the comparisons; that many stay a loop,
/// which vectorises.
float largest(const float* values, std::size_t count) noexcept {
  std::array<float, 32> lanes{};
  std::size_t i = 0;
  for (; i + lanes.size() <= count; i += lanes.size()) {
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
      lanes[lane] = values[i + lane] > lanes[lane] ? values[i + lane] : lanes[lane];
    }
  }
  float maximum = 0.0f;
  for (const float lane : lanes) maximum = std::max(maximum, lane);
  for (; i < count; ++i) maximum = values[i] > maximum ? values[i] : maximum;
  return maximum;
}

/// Values summed in groups of four, on top of `sum`; the grouping shows in the
/// last bits.
float addGroups(const float* values, std::size_t count, float sum) noexcept {
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4) {
    sum += values[i] + values[i + 1] + values[i + 2] + values[i + 3];
  }
  for (; i < count; ++i) sum += values[i];
  return sum;
}

/// Logarithms in place, floored; returns their sum. Block by block, so that a
/// value is still in the first-level cache when it is summed.
float logarithms(float* values, std::size_t count, float floor) noexcept {
  constexpr std::size_t kBlock = 1024;
  static_assert(kBlock % 4 == 0);
  float sum = 0.0f;
  for (std::size_t start = 0; start < count; start += kBlock) {
    float* block = values + start;
    const std::size_t size = std::min(kBlock, count - start);
    for (std::size_t i = 0; i < size; ++i) block[i] = block[i] < floor ? floor : block[i];
    replaceByLogarithms(block, size);
    sum = addGroups(block, size, sum);
  }
  return sum;
}

}  // namespace

float magnitudes(const std::complex<float>* spectrum, std::size_t count, float* values) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    const float re = spectrum[i].real();
    const float im = spectrum[i].imag();
    const float power = re * re + im * im;
    // The single-precision root: rounding the double root of a float to float
    // gives the same bits (53 >= 2 × 24 + 2), and this one vectorises.
    values[i] = std::sqrt(power);
  }
  return largest(values, count);
}

bool logMagnitudes(float* values, std::size_t count, float largest) noexcept {
  if (std::fabs(largest) < FLT_EPSILON) return false;
  const float floor = largest / 1000000.0f;
  const float mean = logarithms(values, count, floor) / static_cast<float>(count);
  for (std::size_t i = 0; i < count; ++i) values[i] -= mean;
  return true;
}

}  // namespace audio
