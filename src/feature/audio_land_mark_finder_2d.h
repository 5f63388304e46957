#pragma once

#include "feature/audio_land_mark_finder_base.h"

namespace audio {

/// The landmark finder whose peaks stand out in time and frequency at once:
/// in a neighbourhood of `_2d_local_max_detect_time_win_len` frames by
/// `_2d_local_max_detect_freq_win_len` bins, at most
/// `_2d_local_max_number_per_frame` of each frame.
class AudioLandMarkFinder2D : public AudioLandMarkFinderBase {
 public:
  /// Always true. Logs "half local max detect freq win len = %d, half time win
  /// len = %d.".
  bool extractPeaks() override;
};

}  // namespace audio
