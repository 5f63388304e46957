#pragma once

#include <cstdint>

namespace audio {

/// A pair of spectral peaks close to each other: the anchor and a target up
/// to 63 frames later and 1 to 30 bins away.
struct LandMark {
  std::int32_t anchorTime;  ///< frame of the anchor, counted from its pass's first
  std::int32_t anchorFreq;  ///< bin of the anchor
  std::int32_t targetFreq;  ///< bin of the target
  std::int32_t deltaTime;   ///< frames from anchor to target

  friend bool operator==(const LandMark&, const LandMark&) = default;
};

}  // namespace audio
