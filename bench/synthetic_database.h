#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "feature/audio_feature.h"

namespace bench {

/// A database file of synthetic references, removed with the object.
class SyntheticDatabase {
 public:
  /// Writes `audios` references of `entriesPerAudio` entries each, whose keys
  /// are distributed like those of real fingerprints.
  SyntheticDatabase(std::uint32_t audios, std::uint32_t entriesPerAudio);
  SyntheticDatabase(const SyntheticDatabase&) = delete;
  SyntheticDatabase& operator=(const SyntheticDatabase&) = delete;
  ~SyntheticDatabase();

  const std::string& path() const { return path_; }
  std::uint64_t bytes() const { return bytes_; }

 private:
  std::string path_;
  std::uint64_t bytes_ = 0;
};

/// Features of one synthetic recording.
std::vector<audio::AudioFeature> syntheticFeatures(std::uint32_t seed, std::uint32_t seconds,
                                                   bool singlePass);

}  // namespace bench
