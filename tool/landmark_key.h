#pragma once

#include <cstdint>

#include "base/analysis_grid.h"

namespace audiomatch {

/// What the time and frequency grid of the engine mean to people.
inline constexpr double kSecondsPerFrame =
    static_cast<double>(audio::kHopSamples) / audio::kAnalysisRate;
inline constexpr double kHertzPerBin = audio::kBinHertz;

/// A landmark as its hash key holds it.
struct LandmarkKey {
  std::uint32_t anchorBin;    ///< the low eight bits: the last bin, 256, reads as 0
  std::int32_t binDistance;   ///< from anchor to target
  std::uint32_t deltaFrames;  ///< from anchor to target
};

/// Takes a 20-bit hash key apart.
LandmarkKey landmarkOfKey(std::uint32_t hashKey) noexcept;

}  // namespace audiomatch
