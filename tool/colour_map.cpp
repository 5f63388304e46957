#include "tool/colour_map.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace audiomatch {
namespace {

constexpr std::array<Colour, 9> kStops = {{{0.02, 0.02, 0.07},
                                           {0.10, 0.06, 0.26},
                                           {0.27, 0.07, 0.42},
                                           {0.45, 0.12, 0.46},
                                           {0.65, 0.19, 0.42},
                                           {0.84, 0.30, 0.31},
                                           {0.96, 0.50, 0.24},
                                           {0.99, 0.75, 0.40},
                                           {0.99, 0.97, 0.78}}};

}  // namespace

Colour colourOfLevel(double level) noexcept {
  const double place = std::clamp(level, 0.0, 1.0) * static_cast<double>(kStops.size() - 1);
  const auto below = std::min(static_cast<std::size_t>(place), kStops.size() - 2);
  const double part = place - static_cast<double>(below);
  const Colour& a = kStops[below];
  const Colour& b = kStops[below + 1];
  return {std::lerp(a.red, b.red, part), std::lerp(a.green, b.green, part),
          std::lerp(a.blue, b.blue, part)};
}

}  // namespace audiomatch
