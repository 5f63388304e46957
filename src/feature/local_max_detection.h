#pragma once

#include <cstdint>
#include <vector>

namespace audio {

/// One peak of a spectrogram.
struct LocalMaxRecorder {
  std::int32_t timeIndex;  ///< frame, counted from the first of the pass
  std::int32_t freqIndex;  ///< bin
  float value;             ///< the spectrogram there

  friend bool operator==(const LocalMaxRecorder&, const LocalMaxRecorder&) = default;
};

/// The rectangle in which a peak must stand out, and how many are kept.
struct LocalMaxWindow {
  std::int32_t half_frames;    ///< frames on either side; negative: no neighbours
  std::int32_t half_bins;      ///< bins on either side; negative: no neighbours
  std::int32_t max_per_frame;  ///< 0 or below keeps none
};

/// Finds the local maxima of a spectrogram.
///
/// A cell is a peak when no neighbour inside the matrix is larger than it or
/// within 2^-23 of it, so ties and plateaus yield none. `peaks` is replaced by
/// one list per frame, largest value first, equal values in bin order.
///
/// Throws std::bad_alloc when memory is short.
///
/// @param matrix  frames × bins values, frame-major
void detectLocalMaxima(const float* matrix, std::uint32_t bins, std::uint32_t frames,
                       const LocalMaxWindow& window,
                       std::vector<std::vector<LocalMaxRecorder>>& peaks);

}  // namespace audio
