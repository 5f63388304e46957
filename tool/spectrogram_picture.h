#pragma once

#include <string>
#include <vector>

#include "tool/spectrogram_analysis.h"

namespace audiomatch {

/// Draws a spectrogram with its peaks and landmarks, axes and a title (UTF-8).
/// Returns the bytes of a PNG; throws std::runtime_error.
std::vector<unsigned char> drawSpectrogram(const SpectrogramAnalysis& analysis,
                                           const std::string& title);

}  // namespace audiomatch
