#include "tool/picture/spectrogram_picture.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "base/analysis_grid.h"
#include "tool/output/display_text.h"
#include "tool/output/text.h"
#include "tool/picture/colour_scale.h"
#include "tool/picture/labels.h"
#include "tool/picture/landmark_curve.h"
#include "tool/picture/lettering.h"
#include "tool/picture/plot_area.h"

namespace audiomatch {
namespace {

// Points. A frame is as wide as is allowed within these.
constexpr double kPointsPerFrame = 1.5;
constexpr double kLeastWidth = 380.0;
constexpr double kMostWidth = 480.0;
constexpr double kPointsPerBin = 1.0;
constexpr double kCurveGap = 10.0;
constexpr double kCurveHeight = 62.0;

// Of a PNG: three pixels for a bin; of what has more frames than that shows, four.
constexpr double kPixelsPerPoint = 3.0;
constexpr double kPixelsPerPointOfLong = 4.0;

constexpr Colour kLandmarkColour = {0.55, 0.95, 1.0};
constexpr std::size_t kMostLines = 2000;

using Columns = SpectrogramColumns;

bool isOneByOne(const SpectrogramAnalysis& analysis) {
  return analysis.columns.frames() <= kMostFramesOneByOne;
}

PlotArea plotArea(const SpectrogramAnalysis& analysis) {
  const double frames = static_cast<double>(analysis.columns.frames());
  const double bins = static_cast<double>(analysis.columns.bins());
  return {kLeftMargin,
          kHeadingHeight,
          std::floor(std::clamp(frames * kPointsPerFrame, kLeastWidth, kMostWidth)),
          bins * kPointsPerBin,
          {analysis.from, analysis.from + analysis.seconds()},
          // A bin stands for the frequency in its middle.
          {-audio::kBinHertz / 2, (bins - 0.5) * audio::kBinHertz}};
}

/// The middle of a cell of the spectrogram.
double cellX(const PlotArea& area, std::int32_t frame) {
  return area.x(area.across.from + audio::secondsOfFrames(frame + 0.5));
}
double cellY(const PlotArea& area, std::int32_t bin) { return area.y(bin * audio::kBinHertz); }

double loudest(const Columns& columns) {
  double power = 0.0;
  for (std::size_t column = 0; column < columns.columns(); ++column) {
    for (std::size_t bin = 0; bin < columns.bins(); ++bin) {
      power = std::max(power, columns.power(column, bin));
    }
  }
  return power;
}

std::uint32_t pixelOfLevel(double level) noexcept {
  const Colour colour = colourOfLevel(level);
  const auto byte = [](double part) { return static_cast<std::uint32_t>(std::lround(part * 255)); };
  return byte(colour.red) << 16 | byte(colour.green) << 8 | byte(colour.blue);
}

using Image = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;

/// One pixel for each column and bin, low frequencies at the bottom.
Image cellImage(const Columns& columns) {
  Image image(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(columns.columns()),
                                         static_cast<int>(columns.bins())),
              cairo_surface_destroy);
  unsigned char* bytes = cairo_image_surface_get_data(image.get());
  if (!bytes) throw std::bad_alloc();
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(image.get()));
  const double most = loudest(columns);
  cairo_surface_flush(image.get());
  for (std::size_t column = 0; column < columns.columns(); ++column) {
    for (std::size_t bin = 0; bin < columns.bins(); ++bin) {
      // Of silence minus infinity, hence the darkest.
      const double decibels = 10.0 * std::log10(columns.power(column, bin) / most);
      const std::uint32_t pixel = pixelOfLevel(1.0 + decibels / kDecibelRange);
      std::memcpy(bytes + (columns.bins() - 1 - bin) * stride + column * 4, &pixel, sizeof pixel);
    }
  }
  cairo_surface_mark_dirty(image.get());
  return image;
}

void drawCells(cairo_t* cairo, const PlotArea& area, const Columns& columns) {
  const Image image = cellImage(columns);
  const Clip clip(cairo, area);
  cairo_translate(cairo, area.left, area.top);
  // The last column may stand for fewer frames than the others.
  const double shown =
      static_cast<double>(columns.frames()) / static_cast<double>(columns.framesPerColumn());
  cairo_scale(cairo, area.width / shown, area.height / static_cast<double>(columns.bins()));
  cairo_set_source_surface(cairo, image.get(), 0, 0);
  const bool cells_seen = shown < area.width * kPixelsPerPoint;
  cairo_pattern_set_filter(cairo_get_source(cairo),
                           cells_seen ? CAIRO_FILTER_NEAREST : CAIRO_FILTER_GOOD);
  cairo_paint(cairo);
}

/// Each how-many-th landmark is a line.
std::size_t lineStep(const SpectrogramAnalysis& analysis) {
  return (analysis.landmarks.size() + kMostLines - 1) / kMostLines;
}

/// One in `step`, but no pattern: neighbours in the list have their anchor in common.
constexpr bool isDrawn(std::size_t number, std::size_t step) noexcept {
  return (static_cast<std::uint32_t>(number) * 0x9E3779B1u >> 8) % step == 0;
}

/// 0 where landmarks and peaks have much room, 1 where they have little.
double crowd(const SpectrogramAnalysis& analysis) {
  return std::min(static_cast<double>(analysis.peaks.size()) / 1000.0, 1.0);
}

void drawLandmarks(cairo_t* cairo, const PlotArea& area, const SpectrogramAnalysis& analysis) {
  const Clip clip(cairo, area);
  setColour(cairo, kLandmarkColour, std::lerp(0.5, 0.4, crowd(analysis)));
  cairo_set_line_width(cairo, std::lerp(0.5, 0.35, crowd(analysis)));
  const std::size_t step = std::max(lineStep(analysis), std::size_t{1});
  for (std::size_t i = 0; i < analysis.landmarks.size(); ++i) {
    if (!isDrawn(i, step)) continue;
    const audio::LandMark& mark = analysis.landmarks[i];
    cairo_move_to(cairo, cellX(area, mark.anchorTime), cellY(area, mark.anchorFreq));
    cairo_line_to(cairo, cellX(area, mark.anchorTime + mark.deltaTime),
                  cellY(area, mark.targetFreq));
    cairo_stroke(cairo);
  }
}

void drawPeaks(cairo_t* cairo, const PlotArea& area, const SpectrogramAnalysis& analysis) {
  const double radius = std::lerp(1.5, 0.9, crowd(analysis));
  cairo_set_line_width(cairo, 0.35);
  for (const audio::LocalMaxRecorder& peak : analysis.peaks) {
    cairo_new_sub_path(cairo);
    cairo_arc(cairo, cellX(area, peak.timeIndex), cellY(area, peak.freqIndex), radius, 0, 2 * M_PI);
  }
  setColour(cairo, {1, 1, 1});
  cairo_fill_preserve(cairo);
  setColour(cairo, {0.05, 0.05, 0.1});
  cairo_stroke(cairo);
}

std::string subtitle(const SpectrogramAnalysis& analysis) {
  const std::string length = clockTime(analysis.seconds());
  if (!isOneByOne(analysis)) {
    return fmt::format("{} \u00b7 {} peaks \u00b7 {} landmarks", length,
                       countText(analysis.peak_count), countText(analysis.landmark_count));
  }
  const std::size_t step = lineStep(analysis);
  return fmt::format("{} \u00b7 {} frames of 32 ms \u00b7 {} peaks (dots) \u00b7 {} landmarks ({})",
                     length, countText(analysis.columns.frames()), countText(analysis.peak_count),
                     countText(analysis.landmark_count),
                     step > 1 ? fmt::format("one in {} a line", step) : "lines");
}

}  // namespace

std::vector<unsigned char> drawSpectrogram(const SpectrogramAnalysis& analysis,
                                           const std::string& title, PictureFormat format) {
  const PlotArea area = plotArea(analysis);
  PlotArea last = area;
  if (!isOneByOne(analysis)) {
    last.top = area.bottom() + kCurveGap;
    last.height = kCurveHeight;
  }
  const bool is_long =
      static_cast<double>(analysis.columns.frames()) > area.width * kPixelsPerPoint;
  Page page(format, area.right() + kColourScaleWidth, last.bottom() + kTimeAxisHeight,
            is_long ? kPixelsPerPointOfLong : kPixelsPerPoint, printable(title));
  cairo_t* cairo = page.cairo();
  drawHeading(cairo, title, subtitle(analysis), area.left, area.width);
  drawCells(cairo, area, analysis.columns);
  drawLandmarks(cairo, area, analysis);
  drawPeaks(cairo, area, analysis);
  if (!isOneByOne(analysis)) drawLandmarkCurve(cairo, last, analysis.columns);
  drawFrame(cairo, area);
  drawValueAxis(cairo, area, "frequency / Hz", 500);
  drawColourScale(cairo, area);
  drawTimeAxis(cairo, last, "time");
  return page.finish();
}

}  // namespace audiomatch
