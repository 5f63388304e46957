#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "feature/audio_feature.h"
#include "roughening.h"

namespace bench {

/// A recording as scripts/rates lists it.
struct Listed {
  std::string kind;  ///< music, speech, or a voice that is only a reference
  std::string name;  ///< package/file
  std::string path;
};

/// Reads a list, whose lines are: kind TAB name TAB path.
std::vector<Listed> readList(const char* path);

/// A sound file's mix to mono. Throws FileError.
Sound readMono(const std::string& path);

/// The stretch of a sound from a sample on, which must be there as a whole.
Sound cut(const Sound& sound, std::size_t start, std::size_t samples);

/// What the engine finds in a recording; nothing in silence.
std::vector<audio::AudioFeature> featuresOf(const Sound& sound);

}  // namespace bench
