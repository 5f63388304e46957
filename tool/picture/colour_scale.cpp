#include "tool/picture/colour_scale.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>

#include "tool/picture/lettering.h"

namespace audiomatch {
namespace {

// Of the colour scale, from silent to loudest.
constexpr std::array<Colour, 9> kStops = {{{0.02, 0.02, 0.07},
                                           {0.10, 0.06, 0.26},
                                           {0.27, 0.07, 0.42},
                                           {0.45, 0.12, 0.46},
                                           {0.65, 0.19, 0.42},
                                           {0.84, 0.30, 0.31},
                                           {0.96, 0.50, 0.24},
                                           {0.99, 0.75, 0.40},
                                           {0.99, 0.97, 0.78}}};

constexpr double kGap = 14.0;
constexpr double kBarWidth = 10.0;
constexpr double kDecibelsPerLabel = 15.0;

void fillBar(cairo_t* cairo, const PlotArea& bar) {
  const std::unique_ptr<cairo_pattern_t, decltype(&cairo_pattern_destroy)> colours(
      cairo_pattern_create_linear(0, bar.bottom(), 0, bar.top), cairo_pattern_destroy);
  for (std::size_t i = 0; i < kStops.size(); ++i) {
    cairo_pattern_add_color_stop_rgb(
        colours.get(), static_cast<double>(i) / static_cast<double>(kStops.size() - 1),
        kStops[i].red, kStops[i].green, kStops[i].blue);
  }
  cairo_rectangle(cairo, bar.left, bar.top, bar.width, bar.height);
  cairo_set_source(cairo, colours.get());
  cairo_fill(cairo);
}

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

void drawColourScale(cairo_t* cairo, const PlotArea& area) {
  const PlotArea bar{area.right() + kGap, area.top, kBarWidth,
                     area.height,         {0, 1},   {-kDecibelRange, 0}};
  fillBar(cairo, bar);
  drawFrame(cairo, bar);
  for (double decibels = 0; decibels >= bar.up.from; decibels -= kDecibelsPerLabel) {
    const double y = bar.y(decibels);
    strokeLine(cairo, bar.right(), y, bar.right() + 3, y, 0.6);
    drawText(cairo, fmt::format("{}{:.0f}", decibels < 0 ? "\u2212" : "", std::fabs(decibels)),
             bar.right() + 6, y, kLabelSize, TextAnchor::kLeft);
  }
  drawText(cairo, "dB", bar.left + bar.width / 2, bar.top - 9, kLabelSize, TextAnchor::kCentre);
}

}  // namespace audiomatch
