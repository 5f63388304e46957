#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "feature/audio_feature.h"
#include "sound.h"

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

/// How often a recording is analysed: once, as what goes into a database, or with the frames at
/// four places, as what is asked.
enum class Passes { kOne, kFour };

/// What the engine finds in a recording; nothing in silence.
std::vector<audio::AudioFeature> featuresOf(const Sound& sound, Passes passes = Passes::kFour);

}  // namespace bench
