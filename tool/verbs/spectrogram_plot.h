#pragma once

#include "tool/base/errors.h"
#include "tool/input/recording.h"
#include "tool/verbs/plot_request.h"

namespace audiomatch {

/// Draws the spectrogram, peaks and landmarks of a stretch of a recording into a
/// file and prints one line on it. Throws as its steps do.
///
/// @return kLeftOut when the recording is damaged, which is reported
ExitCode plotSpectrogram(const PlotRequest& plot, const Stretch& stretch);

}  // namespace audiomatch
