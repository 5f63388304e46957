#pragma once

#include <filesystem>

#include "tool/base/errors.h"
#include "tool/input/recording.h"
#include "tool/input/sound_source.h"
#include "tool/picture/page.h"

namespace audiomatch {

/// A picture of a stretch of a recording, as asked for.
struct SpectrogramPlot {
  std::filesystem::path file;
  Stretch stretch;
  SoundOptions sound;
  std::filesystem::path picture;
  PictureFormat format;
};

/// Draws a recording's spectrogram, peaks and landmarks into a file and prints
/// one line on it. Throws as its steps do.
///
/// @return kLeftOut when the recording is damaged, which is reported
ExitCode plotSpectrogram(const SpectrogramPlot& plot, bool json);

}  // namespace audiomatch
