#pragma once

#include <string>
#include <vector>

#include "tool/picture/page.h"
#include "tool/picture/spectrogram_analysis.h"

namespace audiomatch {

/// Draws a spectrogram with axes and a title (UTF-8). Up to a minute its peaks
/// are dots and its landmarks lines, of many only some; of a longer recording
/// a curve below tells how many landmarks there are in a second.
///
/// Returns the bytes of the picture; throws std::runtime_error.
std::vector<unsigned char> drawSpectrogram(const SpectrogramAnalysis& analysis,
                                           const std::string& title, PictureFormat format);

}  // namespace audiomatch
