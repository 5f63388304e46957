#include "tool/picture/landmark_curve.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "base/analysis_grid.h"
#include "tool/picture/page.h"

namespace audiomatch {
namespace {

/// Steps of columns and what happens in each; the last may be longer or shorter.
struct Steps {
  std::size_t columns;
  std::vector<double> values;
};

/// Landmarks a second, in steps that are at least a second and a point wide.
Steps density(const SpectrogramColumns& columns, const PlotArea& area) {
  const double column = audio::secondsOfFrames(static_cast<double>(columns.framesPerColumn()));
  const double least = std::max(1.0, area.across.length() / area.width);
  Steps steps{static_cast<std::size_t>(std::ceil(least / column)), {}};
  const std::size_t count =
      std::max((columns.columns() + steps.columns / 2) / steps.columns, std::size_t{1});
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t first = i * steps.columns;
    const bool is_last = i + 1 == count;
    const std::size_t end = is_last ? columns.columns() : first + steps.columns;
    double landmarks = 0;
    for (std::size_t at = first; at < end; ++at) landmarks += columns.landmarks(at);
    const std::uint64_t frames = (is_last ? columns.frames() : end * columns.framesPerColumn()) -
                                 first * columns.framesPerColumn();
    steps.values.push_back(landmarks / audio::secondsOfFrames(static_cast<double>(frames)));
  }
  return steps;
}

void fillSteps(cairo_t* cairo, const PlotArea& area, const std::vector<double>& values,
               double seconds) {
  cairo_move_to(cairo, area.left, area.bottom());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double start = static_cast<double>(i) * seconds;
    const double end = i + 1 == values.size() ? area.across.length() : start + seconds;
    cairo_line_to(cairo, area.x(area.across.from + start), area.y(values[i]));
    cairo_line_to(cairo, area.x(area.across.from + end), area.y(values[i]));
  }
  cairo_line_to(cairo, area.right(), area.bottom());
  setColour(cairo, kAccent, 0.85);
  cairo_fill(cairo);
}

}  // namespace

void drawLandmarkCurve(cairo_t* cairo, PlotArea area, const SpectrogramColumns& columns) {
  const Steps steps = density(columns, area);
  area.up = {0.0, std::max(1.1 * *std::ranges::max_element(steps.values), 1.0)};
  const double frames = static_cast<double>(steps.columns * columns.framesPerColumn());
  fillSteps(cairo, area, steps.values, audio::secondsOfFrames(frames));
  drawFrame(cairo, area);
  drawValueAxis(cairo, area, "landmarks / s", 1);
}

}  // namespace audiomatch
