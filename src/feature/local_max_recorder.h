#pragma once

#include <cstdint>

namespace audio {

/// One peak of a spectrogram.
struct LocalMaxRecorder {
  std::int32_t timeIndex;  ///< frame, counted from the first of the pass
  std::int32_t freqIndex;  ///< bin
  float value;             ///< the spectrogram there

  friend bool operator==(const LocalMaxRecorder&, const LocalMaxRecorder&) = default;
};

}  // namespace audio
