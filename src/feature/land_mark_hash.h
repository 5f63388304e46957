#pragma once

#include <cstddef>
#include <cstdint>

#include "feature/land_mark.h"

namespace audio {

/// Packs a landmark into 20 bits: `deltaTime` in bits 0 to 5, the signed bin
/// difference target - anchor in bits 6 to 11 (two's complement), the low
/// eight bits of `anchorFreq` in bits 12 to 19.
std::uint32_t hashLandMark(const LandMark& landMark) noexcept;

/// Hashes `count` landmarks into `hashKeys`. Does nothing when either array
/// is null.
void computeHashKeys(const LandMark* landMarks, std::size_t count,
                     std::uint32_t* hashKeys) noexcept;

}  // namespace audio
