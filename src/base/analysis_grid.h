#pragma once

#include <cstdint>

namespace audio {

// The grid on which every recording is analysed. All times inside features,
// landmarks, hits and database entries count its hops, all frequencies its bins.
inline constexpr std::uint32_t kAnalysisRate = 8000;  ///< Hz
inline constexpr std::uint32_t kFrameMs = 64;         ///< 512 samples
inline constexpr std::uint32_t kOverlapMs = 32;       ///< so the hop is 32 ms as well
inline constexpr std::uint32_t kFrameSamples = kAnalysisRate / 1000 * kFrameMs;
inline constexpr std::uint32_t kHopSamples = kAnalysisRate / 1000 * (kFrameMs - kOverlapMs);
inline constexpr float kHopSeconds = 0.032f;
inline constexpr double kBinHertz = 1000.0 / kFrameMs;

/// A number of frames in seconds, for people: results never go this way.
constexpr double secondsOfFrames(double frames) noexcept {
  return frames * kHopSamples / kAnalysisRate;
}

// The lowest and highest target / source ratio that recordings are resampled
// by, and the source rates, in Hz, that lie between them.
inline constexpr float kLowestFactor = 0.1f;
inline constexpr float kHighestFactor = 10.0f;
inline constexpr std::uint32_t kLowestRate = 800;
inline constexpr std::uint32_t kHighestRate = 79'999;

/// True for a source rate that can be analysed.
constexpr bool isSupportedRate(std::uint32_t hertz) noexcept {
  return hertz >= kLowestRate && hertz <= kHighestRate;
}

// As single-precision numbers the bounds aren't tenths: 80,000 Hz is outside.
static_assert(1.0 * kAnalysisRate / kLowestRate <= kHighestFactor &&
              1.0 * kAnalysisRate / (kLowestRate - 1) > kHighestFactor);
static_assert(1.0 * kAnalysisRate / kHighestRate >= kLowestFactor &&
              1.0 * kAnalysisRate / (kHighestRate + 1) < kLowestFactor);

}  // namespace audio
