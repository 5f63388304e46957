#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "feature/local_max_detection.h"

namespace audio {

/// The farthest target of a landmark, in frames after its anchor: what six
/// bits of a hash key hold.
inline constexpr std::int32_t kTargetFrameReach = 63;
/// The farthest target, in bins to either side of its anchor.
inline constexpr std::int32_t kFrequencyReach = 30;

/// Bits of a landmark's hash key, and how many keys there are.
inline constexpr unsigned kHashKeyBits = 20;
inline constexpr std::uint32_t kHashKeys = std::uint32_t{1} << kHashKeyBits;

/// A pair of spectral peaks close to each other: the anchor and a target up
/// to 63 frames later and 1 to 30 bins away.
struct LandMark {
  std::int32_t anchorTime;  ///< frame of the anchor, counted from its pass's first
  std::int32_t anchorFreq;  ///< bin of the anchor
  std::int32_t targetFreq;  ///< bin of the target
  std::int32_t deltaTime;   ///< frames from anchor to target

  friend bool operator==(const LandMark&, const LandMark&) = default;
};

/// Appends the landmarks of one pass to `landMarks`.
///
/// Each peak, in frame order and strongest first within a frame, is the anchor
/// of up to 6 landmarks, to the first later peaks within reach, in the same
/// order. Throws std::bad_alloc.
///
/// @param peaks  one list per frame, strongest first
void appendPairs(const std::vector<std::vector<LocalMaxRecorder>>& peaks,
                 std::vector<LandMark>& landMarks);

/// Packs a landmark into 20 bits: `deltaTime` in bits 0 to 5, the signed bin
/// difference target - anchor in bits 6 to 11 (two's complement), the low
/// eight bits of `anchorFreq` in bits 12 to 19.
std::uint32_t hashLandMark(const LandMark& landMark) noexcept;

/// Hashes `count` landmarks into `hashKeys`. Does nothing when either array
/// is null.
void computeHashKeys(const LandMark* landMarks, std::size_t count,
                     std::uint32_t* hashKeys) noexcept;

/// The landmark of a hash key, at time 0; the last bin, 256, reads as 0, of
/// which a key knows the low eight bits only.
LandMark landMarkOfHash(std::uint32_t hashKey) noexcept;

}  // namespace audio
