#include "feature/audio_land_mark_finder_2d.h"

#include "base/engine_parameters.h"
#include "base/logger.h"
#include "feature/local_max_detection.h"

namespace audio {

bool AudioLandMarkFinder2D::extractPeaks() {
  const LocalMaxWindow window{_2d_local_max_detect_time_win_len.value >> 1,
                              _2d_local_max_detect_freq_win_len.value >> 1,
                              _2d_local_max_number_per_frame.value};
  logMessage("half local max detect freq win len = %d, half time win len = %d.", window.halfBins,
             window.halfFrames);
  detectLocalMaxima(spectrogram.get(), bin_num, frame_num, window, peaks);
  return true;
}

}  // namespace audio
