#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "feature/land_mark.h"
#include "feature/local_max_detection.h"
#include "tool/input/recording.h"

namespace audiomatch {

/// What the engine sees of a stretch of a recording in one pass.
struct SpectrogramAnalysis {
  double from;                ///< second of the recording at which frame 0 starts
  std::uint32_t frames;       ///< 32 ms each
  std::uint32_t bins;         ///< 15.625 Hz each
  std::vector<float> values;  ///< natural logarithms of magnitudes, frame by frame
  std::vector<audio::LocalMaxRecorder> peaks;
  std::vector<audio::LandMark> landmarks;
};

/// Analyses a stretch of a recording on its own. Throws FileError, which names
/// `path`, also for silence.
///
/// @param from  second at which it begins
SpectrogramAnalysis analyseStretch(const std::filesystem::path& path,
                                   const audio::AudioData& stretch, double from);

/// Draws a spectrogram with its peaks and landmarks, axes and a title (UTF-8).
/// Returns the bytes of a PNG; throws std::runtime_error.
std::vector<unsigned char> drawSpectrogram(const SpectrogramAnalysis& analysis,
                                           const std::string& title);

}  // namespace audiomatch
