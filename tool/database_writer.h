#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "feature/audio_feature.h"
#include "tool/atomic_file.h"

namespace audiomatch {

/// One audio of a database: what a match is called, and its entries.
struct DatabaseAudio {
  std::string name;
  std::vector<audio::AudioFeature> entries;  ///< keys below 2^20, times below 2^14
};

/// Writes the database of some audios, whose indices are their positions.
///
/// Within a bucket entries go by audio index, then time, so equal audios make
/// equal bytes. Doesn't commit. Throws FileError.
void writeDatabase(std::span<const DatabaseAudio> audios, AtomicFile& file);

}  // namespace audiomatch
