#pragma once

#include <cstdint>
#include <vector>

namespace audio {

/// The unit of a fingerprint: a landmark's hash and where its anchor stands.
struct AudioFeature {
  std::uint32_t startTime;  ///< anchor frame within its analysis pass, 32 ms each
  std::uint32_t hashKey;    ///< landmark hash, below 2^20

  friend bool operator==(const AudioFeature&, const AudioFeature&) = default;
};

/// Orders features by hash key, then start time, and keeps one of each pair.
/// Throws std::bad_alloc.
void sortUnique(std::vector<AudioFeature>& features);

}  // namespace audio
