#include "tool/picture/spectrogram_axes.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

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

constexpr double kTick = 6.0;
constexpr double kPixelsPerTimeLabel = 70.0;
constexpr double kHertzPerLabel = 500.0;
constexpr double kDecibelsPerLabel = 15.0;
constexpr double kLabelSize = 14.0;
constexpr Colour kInk = {0.2, 0.2, 0.24};

void setInk(cairo_t* page) { cairo_set_source_rgb(page, kInk.red, kInk.green, kInk.blue); }

void strokeLine(cairo_t* page, double x1, double y1, double x2, double y2) {
  // On pixel centres: one sharp pixel wide.
  cairo_move_to(page, std::floor(x1) + 0.5, std::floor(y1) + 0.5);
  cairo_line_to(page, std::floor(x2) + 0.5, std::floor(y2) + 0.5);
  cairo_stroke(page);
}

void strokeFrame(cairo_t* page, double x, double y, double width, double height) {
  cairo_rectangle(page, x - 0.5, y - 0.5, width + 1, height + 1);
  cairo_stroke(page);
}

void drawTimeAxis(cairo_t* page, const PlotArea& area) {
  const double bottom = area.top + area.height;
  const double step = labelStep(area.seconds * kPixelsPerTimeLabel / area.width);
  const int decimals = step < 1.0 ? static_cast<int>(std::ceil(-std::log10(step))) : 0;
  const double end = area.from_seconds + area.seconds;
  for (double i = std::ceil(area.from_seconds / step); i * step <= end; ++i) {
    const double x = area.x(i * step);
    strokeLine(page, x, bottom, x, bottom + kTick);
    drawText(page, fmt::format("{:.{}f}", i * step, decimals), x, bottom + 18, TextAnchor::kCentre);
  }
  drawText(page, "time / s", area.left + area.width / 2, bottom + 44, TextAnchor::kCentre);
}

void drawFrequencyAxis(cairo_t* page, const PlotArea& area) {
  for (double hertz = 0.0; hertz < area.from_hertz + area.hertz; hertz += kHertzPerLabel) {
    const double y = area.y(hertz);
    strokeLine(page, area.left - kTick, y, area.left, y);
    drawText(page, fmt::format("{:.0f}", hertz), area.left - kTick - 4, y, TextAnchor::kRight);
  }
  cairo_save(page);
  cairo_translate(page, area.left - 68, area.top + area.height / 2);
  cairo_rotate(page, -M_PI / 2);
  drawText(page, "frequency / Hz", 0, 0, TextAnchor::kCentre);
  cairo_restore(page);
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

double labelStep(double least) noexcept {
  const double power = std::pow(10.0, std::floor(std::log10(least)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least) return factor * power;
  }
  return 10.0 * power;
}

void drawText(cairo_t* page, const std::string& text, double x, double y, TextAnchor anchor) {
  cairo_text_extents_t extents;
  cairo_font_extents_t font;
  cairo_text_extents(page, text.c_str(), &extents);
  cairo_font_extents(page, &font);
  if (anchor == TextAnchor::kCentre) x -= extents.x_advance / 2;
  if (anchor == TextAnchor::kRight) x -= extents.x_advance;
  cairo_move_to(page, x, y + (font.ascent - font.descent) / 2);
  cairo_show_text(page, text.c_str());
}

void drawAxes(cairo_t* page, const PlotArea& area) {
  setInk(page);
  cairo_set_line_width(page, 1.0);
  cairo_set_font_size(page, kLabelSize);
  strokeFrame(page, area.left, area.top, area.width, area.height);
  drawTimeAxis(page, area);
  drawFrequencyAxis(page, area);
}

void drawColourScale(cairo_t* page, const PlotArea& area) {
  const double left = area.left + area.width + 24;
  const double width = 18;
  for (double row = 0; row < area.height; ++row) {
    const Colour colour = colourOfLevel(1.0 - row / area.height);
    cairo_set_source_rgb(page, colour.red, colour.green, colour.blue);
    cairo_rectangle(page, left, area.top + row, width, 1);
    cairo_fill(page);
  }
  setInk(page);
  cairo_set_line_width(page, 1.0);
  cairo_set_font_size(page, kLabelSize);
  strokeFrame(page, left, area.top, width, area.height);
  for (double decibels = 0; decibels <= kDecibelRange; decibels += kDecibelsPerLabel) {
    const double y = area.top + area.height * decibels / kDecibelRange;
    strokeLine(page, left + width, y, left + width + kTick, y);
    drawText(page, fmt::format("{}{:.0f}", decibels > 0 ? "\u2212" : "", decibels),
             left + width + kTick + 4, y, TextAnchor::kLeft);
  }
  drawText(page, "dB", left + width / 2, area.top - 14, TextAnchor::kCentre);
}

}  // namespace audiomatch
