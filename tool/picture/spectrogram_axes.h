#pragma once

#include <cairo.h>

#include <string>

namespace audiomatch {

/// A colour, each part from 0 to 1.
struct Colour {
  double red;
  double green;
  double blue;
};

/// A colour for each level from 0 (silent) to 1 (loudest), from near black
/// through violet and orange to pale yellow; steadily brighter, so that it
/// reads the same in grey. Levels outside are cut.
Colour colourOfLevel(double level) noexcept;

/// Where a spectrogram stands on the page, and the scale of its two axes.
struct PlotArea {
  double left;
  double top;
  double width;
  double height;
  double from_seconds;
  double seconds;
  double from_hertz;
  double hertz;

  double x(double second) const noexcept {
    return left + width * (second - from_seconds) / seconds;
  }
  double y(double frequency) const noexcept {
    return top + height * (1.0 - (frequency - from_hertz) / hertz);
  }
};

/// Decibels below the loudest cell at which the colours end.
inline constexpr double kDecibelRange = 90.0;

/// Where a text stands relative to its point.
enum class TextAnchor { kLeft, kCentre, kRight };

/// Draws a text whose middle line goes through y.
void drawText(cairo_t* page, const std::string& text, double x, double y, TextAnchor anchor);

/// Draws frame, ticks and labels of both axes.
void drawAxes(cairo_t* page, const PlotArea& area);

/// Draws the scale of colours to the right of the plot.
void drawColourScale(cairo_t* page, const PlotArea& area);

/// The distance of labels, in seconds, that leaves them apart: the smallest of
/// 1, 2 and 5 times a power of ten from `least` on.
double labelStep(double least) noexcept;

}  // namespace audiomatch
