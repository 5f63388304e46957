#pragma once

#include <cairo.h>

#include "tool/picture/plot_area.h"
#include "tool/picture/spectrogram_columns.h"

namespace audiomatch {

/// Draws how many landmarks there are in a second of a long recording, frame
/// and upright axis included, in steps of at least a second.
///
/// @param area  where, and which seconds; what it shows upwards doesn't count
void drawLandmarkCurve(cairo_t* cairo, PlotArea area, const SpectrogramColumns& columns);

}  // namespace audiomatch
