#pragma once

#include <filesystem>

#include "tool/input/sound_source.h"
#include "tool/picture/page.h"

namespace audiomatch {

/// A picture of a recording, as asked for.
struct PlotRequest {
  std::filesystem::path file;  ///< the recording
  SoundOptions sound;
  std::filesystem::path picture;
  PictureFormat format;
  bool json = false;  ///< the line that is printed on the picture
};

}  // namespace audiomatch
