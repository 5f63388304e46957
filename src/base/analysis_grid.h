#pragma once

#include <cstdint>

namespace audio {

// The grid on which every recording is analysed. All times inside features,
// landmarks, hits and database entries count its hops, all frequencies its bins.
inline constexpr std::uint32_t kAnalysisRate = 8000;  ///< Hz
inline constexpr std::uint32_t kFrameMs = 64;         ///< 512 samples
inline constexpr std::uint32_t kOverlapMs = 32;       ///< so the hop is 32 ms as well
inline constexpr std::uint32_t kHopSamples = kAnalysisRate / 1000 * (kFrameMs - kOverlapMs);
inline constexpr float kHopSeconds = 0.032f;
inline constexpr double kBinHertz = 1000.0 / kFrameMs;

/// The farthest target of a landmark, in frames from its anchor: six bits of a
/// hash key.
inline constexpr std::uint32_t kTargetFrameReach = 63;

}  // namespace audio
