#include "tool/pcm_conversion.h"

#include <algorithm>
#include <cmath>

namespace audiomatch {

std::int16_t toPcm16(float sample) noexcept {
  if (std::isnan(sample)) return 0;
  // Exact in double precision, so that there is one rounding.
  const double scaled = std::round(static_cast<double>(sample) * 32767.0);
  return static_cast<std::int16_t>(std::clamp(scaled, -32768.0, 32767.0));
}

}  // namespace audiomatch
