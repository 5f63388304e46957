#include "dsp/window_function.h"

#include <cmath>
#include <numbers>

#include "base/logger.h"

namespace audio {

void HannWindow::generate(std::uint32_t size) {
  if (size == 0) {
    logMessage("invalid window size = %d.", static_cast<int>(size));
    return;
  }
  coefficients_.resize(size);
  constexpr double kTwoPi = 2.0 * std::numbers::pi;
  const double last = static_cast<double>(size - 1);
  for (std::uint32_t i = 0; i < size; ++i) {
    const double phase = static_cast<double>(i) * kTwoPi / last;
    coefficients_[i] = static_cast<float>(0.5 * (1.0 - std::cos(phase)));
  }
  // A single sample has no first and last to fall to 0 at (0 / 0 above).
  if (size == 1) coefficients_[0] = 1.0f;
}

}  // namespace audio
