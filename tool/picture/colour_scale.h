#pragma once

#include <cairo.h>

#include "tool/picture/page.h"
#include "tool/picture/plot_area.h"

namespace audiomatch {

/// A colour for each level from 0 (silent) to 1 (loudest), from near black
/// through violet and orange to pale yellow; steadily brighter, so that it
/// reads the same in grey. Levels outside are cut.
Colour colourOfLevel(double level) noexcept;

/// Decibels below the loudest cell at which the colours end.
inline constexpr double kDecibelRange = 90.0;

/// Draws the scale of colours to the right of a plot.
void drawColourScale(cairo_t* cairo, const PlotArea& area);

/// Points to the right of a plot that the scale takes.
inline constexpr double kColourScaleWidth = 58.0;

}  // namespace audiomatch
