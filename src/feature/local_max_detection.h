#pragma once

#include <cstdint>
#include <vector>

#include "feature/local_max_recorder.h"

namespace audio {

/// The rectangle in which a peak must stand out, and how many are kept.
struct LocalMaxWindow {
  std::int32_t halfFrames;   ///< frames on either side; negative: no neighbours
  std::int32_t halfBins;     ///< bins on either side; negative: no neighbours
  std::int32_t maxPerFrame;  ///< 0 or below keeps none
};

/// Finds the local maxima of a spectrogram.
///
/// A cell is a peak when no neighbour inside the matrix is larger than it or
/// within 2^-23 of it, so ties and plateaus yield none. `peaks` is replaced by
/// one list per frame, largest value first, equal values in bin order.
///
/// @param matrix  frames × bins values, frame-major
void detectLocalMaxima(const float* matrix, std::uint32_t bins, std::uint32_t frames,
                       const LocalMaxWindow& window,
                       std::vector<std::vector<LocalMaxRecorder>>& peaks);

}  // namespace audio
