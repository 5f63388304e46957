#include "tool/picture/spectrogram_picture.h"

#include <cairo.h>
#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include "base/analysis_grid.h"
#include "base/audio_data.h"
#include "feature/audio_land_mark_finder.h"
#include "tool/base/errors.h"
#include "tool/picture/spectrogram_axes.h"

namespace audiomatch {
namespace {

struct CairoDestroy {
  void operator()(cairo_surface_t* surface) const noexcept { cairo_surface_destroy(surface); }
  void operator()(cairo_t* page) const noexcept { cairo_destroy(page); }
};
using Surface = std::unique_ptr<cairo_surface_t, CairoDestroy>;
using Page = std::unique_ptr<cairo_t, CairoDestroy>;

// Pixels. Frames share the width, each with two pixels unless that is too wide.
constexpr double kPixelsPerFrame = 2.0;
constexpr double kLeastWidth = 1000.0;
constexpr double kMostWidth = 2400.0;
constexpr double kPixelsPerBin = 3.0;
constexpr double kLeft = 96.0;
constexpr double kTop = 88.0;
constexpr double kRight = 104.0;
constexpr double kBottom = 68.0;

constexpr Colour kLandmarkColour = {0.55, 0.95, 1.0};

PlotArea plotArea(const SpectrogramAnalysis& analysis) {
  const double width = std::clamp(analysis.frames * kPixelsPerFrame, kLeastWidth, kMostWidth);
  return {kLeft, kTop, width, analysis.bins * kPixelsPerBin, analysis.from,
          audio::secondsOfFrames(analysis.frames),
          // A bin stands for the frequency in its middle.
          -audio::kBinHertz / 2, analysis.bins * audio::kBinHertz};
}

/// The middle of a cell of the spectrogram.
double cellX(const PlotArea& area, std::int32_t frame) {
  return area.x(area.from_seconds + audio::secondsOfFrames(frame + 0.5));
}
double cellY(const PlotArea& area, std::int32_t bin) { return area.y(bin * audio::kBinHertz); }

std::uint32_t pixelOfLevel(double level) noexcept {
  const Colour colour = colourOfLevel(level);
  const auto byte = [](double part) { return static_cast<std::uint32_t>(std::lround(part * 255)); };
  return byte(colour.red) << 16 | byte(colour.green) << 8 | byte(colour.blue);
}

/// One pixel for each cell, low frequencies at the bottom.
Surface cellImage(const SpectrogramAnalysis& analysis) {
  Surface image(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(analysis.frames),
                                           static_cast<int>(analysis.bins)));
  unsigned char* bytes = cairo_image_surface_get_data(image.get());
  if (!bytes) throw std::runtime_error("the picture is too large");
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(image.get()));
  const double loudest = *std::ranges::max_element(analysis.values);
  const double decibels_per_neper = 20.0 / std::log(10.0);
  cairo_surface_flush(image.get());
  for (std::size_t frame = 0; frame < analysis.frames; ++frame) {
    for (std::size_t bin = 0; bin < analysis.bins; ++bin) {
      const double value = analysis.values[frame * analysis.bins + bin];
      const double level = 1.0 + (value - loudest) * decibels_per_neper / kDecibelRange;
      const std::uint32_t pixel = pixelOfLevel(level);
      std::memcpy(bytes + (analysis.bins - 1 - bin) * stride + frame * 4, &pixel, sizeof pixel);
    }
  }
  cairo_surface_mark_dirty(image.get());
  return image;
}

void drawCells(cairo_t* page, const PlotArea& area, const SpectrogramAnalysis& analysis) {
  const Surface image = cellImage(analysis);
  cairo_save(page);
  cairo_translate(page, area.left, area.top);
  cairo_scale(page, area.width / analysis.frames, area.height / analysis.bins);
  cairo_set_source_surface(page, image.get(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(page), CAIRO_FILTER_NEAREST);
  cairo_paint(page);
  cairo_restore(page);
}

void drawLandmarks(cairo_t* page, const PlotArea& area, const SpectrogramAnalysis& analysis) {
  cairo_set_source_rgba(page, kLandmarkColour.red, kLandmarkColour.green, kLandmarkColour.blue,
                        0.36);
  cairo_set_line_width(page, 0.9);
  for (const audio::LandMark& mark : analysis.landmarks) {
    cairo_move_to(page, cellX(area, mark.anchorTime), cellY(area, mark.anchorFreq));
    cairo_line_to(page, cellX(area, mark.anchorTime + mark.deltaTime),
                  cellY(area, mark.targetFreq));
    cairo_stroke(page);
  }
}

void drawPeak(cairo_t* page, double x, double y) {
  cairo_arc(page, x, y, 2.6, 0, 2 * M_PI);
  cairo_set_source_rgb(page, 1, 1, 1);
  cairo_fill_preserve(page);
  cairo_set_source_rgb(page, 0.05, 0.05, 0.1);
  cairo_set_line_width(page, 0.9);
  cairo_stroke(page);
}

void drawTitle(cairo_t* page, const PlotArea& area, const SpectrogramAnalysis& analysis,
               const std::string& title) {
  cairo_set_source_rgb(page, 0.1, 0.1, 0.14);
  cairo_set_font_size(page, 22);
  drawText(page, title, area.left, 30, TextAnchor::kLeft);
  cairo_set_source_rgb(page, 0.4, 0.4, 0.44);
  cairo_set_font_size(page, 15);
  drawText(page,
           fmt::format("{} frames of 32 ms \u00b7 {} peaks (dots) \u00b7 {} landmarks (lines)",
                       analysis.frames, analysis.peaks.size(), analysis.landmarks.size()),
           area.left, 60, TextAnchor::kLeft);
}

std::vector<unsigned char> encode(cairo_surface_t* surface) {
  std::vector<unsigned char> png;
  const auto append = [](void* bytes, const unsigned char* data, unsigned size) {
    auto* out = static_cast<std::vector<unsigned char>*>(bytes);
    out->insert(out->end(), data, data + size);
    return CAIRO_STATUS_SUCCESS;
  };
  const cairo_status_t status = cairo_surface_write_to_png_stream(surface, append, &png);
  if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
  return png;
}

}  // namespace

SpectrogramAnalysis analyseStretch(const std::filesystem::path& path,
                                   const audio::AudioData& stretch, double from) {
  const audio::AudioDataPtr mono = audio::monoMix(stretch);
  audio::AudioLandMarkFinder2D finder;
  if (!finder.init(true) || !finder.setAudio(mono.get())) throw std::bad_alloc();
  if (!finder.findLandMarks()) throw FileError(path, describe(finder.outcome()));
  const float* first = finder.spectrogramMatrix();
  const std::size_t cells = std::size_t{finder.frameNum()} * finder.binNum();
  SpectrogramAnalysis analysis{
      from, finder.frameNum(),    finder.binNum(), std::vector<float>(first, first + cells),
      {},   finder.getLandMarks()};
  for (const auto& peaks : finder.getPeaks()) {
    analysis.peaks.insert(analysis.peaks.end(), peaks.begin(), peaks.end());
  }
  return analysis;
}

std::vector<unsigned char> drawSpectrogram(const SpectrogramAnalysis& analysis,
                                           const std::string& title) {
  const PlotArea area = plotArea(analysis);
  const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24,
                                                   static_cast<int>(kLeft + area.width + kRight),
                                                   static_cast<int>(kTop + area.height + kBottom)));
  const Page page(cairo_create(surface.get()));
  cairo_set_source_rgb(page.get(), 1, 1, 1);
  cairo_paint(page.get());
  cairo_select_font_face(page.get(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                         CAIRO_FONT_WEIGHT_NORMAL);
  drawCells(page.get(), area, analysis);
  drawLandmarks(page.get(), area, analysis);
  for (const audio::LocalMaxRecorder& peak : analysis.peaks) {
    drawPeak(page.get(), cellX(area, peak.timeIndex), cellY(area, peak.freqIndex));
  }
  drawAxes(page.get(), area);
  drawColourScale(page.get(), area);
  drawTitle(page.get(), area, analysis, title);
  if (cairo_status(page.get()) != CAIRO_STATUS_SUCCESS) {
    throw std::runtime_error(cairo_status_to_string(cairo_status(page.get())));
  }
  return encode(surface.get());
}

}  // namespace audiomatch
