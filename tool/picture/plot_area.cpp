#include "tool/picture/plot_area.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "tool/picture/labels.h"
#include "tool/picture/lettering.h"
#include "tool/picture/page.h"

namespace audiomatch {
namespace {

constexpr double kTick = 3.5;
constexpr double kTickWidth = 0.6;
constexpr double kTimeLabelSpace = 46.0;  // at least, from one to the next
constexpr double kValueLabelSpace = 14.0;

/// Calls draw(value) for every multiple of a step within a range.
template <typename Draw>
void forEachTick(const Range& range, double step, Draw draw) {
  // A little more, as 0.3 / 0.1 is below 3.
  const double first = std::ceil(range.from / step - 1e-6);
  const double last = std::floor(range.to / step + 1e-6);
  for (double i = first; i <= last; ++i) draw(i == 0 ? 0.0 : i * step);
}

TimeLabels labelsAcross(const PlotArea& area) {
  return timeLabels(area.across.length() * kTimeLabelSpace / area.width, area.across.to);
}

void drawLeftLabel(cairo_t* cairo, const PlotArea& area, double value, const std::string& label) {
  const double y = area.y(value);
  setColour(cairo, kInk);
  strokeLine(cairo, area.left - kTick, y, area.left, y, kTickWidth);
  drawText(cairo, label, area.left - kTick - 3, y, kLabelSize, TextAnchor::kRight);
}

void drawLeftName(cairo_t* cairo, const PlotArea& area, const std::string& name) {
  setColour(cairo, kInk);
  drawUprightText(cairo, name, area.left - kLeftMargin + 11, area.top + area.height / 2,
                  kLabelSize);
}

}  // namespace

void drawFrame(cairo_t* cairo, const PlotArea& area) {
  setColour(cairo, kInk);
  strokeLine(cairo, area.left, area.top, area.right(), area.top, kTickWidth);
  strokeLine(cairo, area.left, area.bottom(), area.right(), area.bottom(), kTickWidth);
  strokeLine(cairo, area.left, area.top, area.left, area.bottom(), kTickWidth);
  strokeLine(cairo, area.right(), area.top, area.right(), area.bottom(), kTickWidth);
}

void drawTimeGrid(cairo_t* cairo, const PlotArea& area) {
  setColour(cairo, kGridInk);
  forEachTick(area.across, labelsAcross(area).step, [&](double second) {
    strokeLine(cairo, area.x(second), area.top, area.x(second), area.bottom(), 0.4);
  });
}

void drawTimeAxis(cairo_t* cairo, const PlotArea& area, const std::string& name) {
  const TimeLabels labels = labelsAcross(area);
  setColour(cairo, kInk);
  forEachTick(area.across, labels.step, [&](double second) {
    const double x = area.x(second);
    strokeLine(cairo, x, area.bottom(), x, area.bottom() + kTick, kTickWidth);
    drawText(cairo, labels.label(second), x, area.bottom() + 11, kLabelSize, TextAnchor::kCentre);
  });
  drawText(cairo, fmt::format("{} / {}", name, labels.unit()), area.left + area.width / 2,
           area.bottom() + 27, kLabelSize, TextAnchor::kCentre);
}

void drawUprightTimeAxis(cairo_t* cairo, const PlotArea& area, const std::string& name) {
  const TimeLabels labels =
      timeLabels(area.up.length() * kValueLabelSpace / area.height, area.up.to);
  forEachTick(area.up, labels.step,
              [&](double second) { drawLeftLabel(cairo, area, second, labels.label(second)); });
  drawLeftName(cairo, area, fmt::format("{} / {}", name, labels.unit()));
}

void drawValueAxis(cairo_t* cairo, const PlotArea& area, const std::string& name, double step) {
  step = std::max(step, niceStep(area.up.length() * kValueLabelSpace / area.height));
  forEachTick(area.up, step,
              [&](double value) { drawLeftLabel(cairo, area, value, fmt::format("{:g}", value)); });
  drawLeftName(cairo, area, name);
}

Clip::Clip(cairo_t* cairo, const PlotArea& area) : cairo_(cairo) {
  cairo_save(cairo);
  cairo_rectangle(cairo, area.left, area.top, area.width, area.height);
  cairo_clip(cairo);
}

}  // namespace audiomatch
