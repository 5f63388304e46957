#include "feature/log_magnitude.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>

namespace audio {
namespace {

void magnitudes(const std::complex<float>* spectrum, std::size_t count, float* values) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    const float re = spectrum[i].real();
    const float im = spectrum[i].imag();
    const float power = re * re + im * im;
    // The single-precision root: rounding the double root of a float to float
    // gives the same bits (53 >= 2 × 24 + 2), and this one vectorises.
    values[i] = std::sqrt(power);
  }
}

/// The largest value, at least 0. Lanes only reorder the comparisons.
float largest(const float* values, std::size_t count) noexcept {
  std::array<float, 8> lanes{};
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

/// Logarithms in place, floored; returns their sum.
float logarithms(float* values, std::size_t count, float floor) noexcept {
  const auto log_of = [](float value) {
    return static_cast<float>(std::log(static_cast<double>(value)));
  };
  const float floor_log = log_of(floor);
  const auto replace = [&](float& value) {
    value = value < floor ? floor_log : log_of(value);
    return value;
  };

  float sum = 0.0f;
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4) {
    const float a = replace(values[i]);
    const float b = replace(values[i + 1]);
    const float c = replace(values[i + 2]);
    const float d = replace(values[i + 3]);
    sum += a + b + c + d;
  }
  for (; i < count; ++i) sum += replace(values[i]);
  return sum;
}

}  // namespace

bool logMagnitudes(const std::complex<float>* spectrum, std::size_t count, float* values) noexcept {
  magnitudes(spectrum, count, values);
  const float maximum = largest(values, count);
  if (std::fabs(maximum) < FLT_EPSILON) return false;
  const float floor = maximum / 1000000.0f;
  const float mean = logarithms(values, count, floor) / static_cast<float>(count);
  for (std::size_t i = 0; i < count; ++i) values[i] -= mean;
  return true;
}

}  // namespace audio
