#pragma once

#include <filesystem>

#include "tool/base/errors.h"
#include "tool/input/sound_source.h"
#include "tool/picture/page.h"
#include "tool/recognition/listening.h"

namespace audiomatch {

/// A picture of what is heard in a recording, as asked for.
struct TimelinePlot {
  std::filesystem::path database;
  std::filesystem::path file;
  SoundOptions sound;
  Listening listening;
  std::filesystem::path picture;
  PictureFormat format;
};

/// Draws what was heard in a recording from when to when into a file and prints
/// one line on it. Throws as its steps do.
///
/// @return kLeftOut when the recording is damaged, which is reported
ExitCode plotTimeline(const TimelinePlot& plot, bool json);

}  // namespace audiomatch
