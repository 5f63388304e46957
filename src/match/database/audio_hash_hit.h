#pragma once

#include <cstdint>

#include "match/database/packed_entry.h"

namespace audio {

/// A reference audio has a feature with the key of a query feature.
struct AudioHashHit {
  std::int32_t audio_index;  ///< the reference, -1 for a placeholder
  std::int32_t time_offset;  ///< reference time minus query time, in 32 ms frames

  friend bool operator==(const AudioHashHit&, const AudioHashHit&) = default;
};

/// A place that no entry filled. Placeholders agree with each other.
inline constexpr AudioHashHit kPlaceholderHit{-1, 2'147'483'647};

/// The hit of a packed entry for a query feature at `startTime`; the offset
/// wraps in 32 bits.
inline AudioHashHit hitOf(std::uint64_t entry, std::uint32_t startTime) noexcept {
  return {static_cast<std::int32_t>(entryAudioIndex(entry)),
          static_cast<std::int32_t>(entryTime(entry) - startTime)};
}

}  // namespace audio
