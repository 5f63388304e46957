#pragma once

#include "base/parameter.h"

namespace audio {

// The tunables, registered at library load with the defaults given in the
// definition. Values are read from any thread and don't change while the engine
// runs.

/// Peak neighbourhood in frames; half of it lies on either side of a cell.
extern IntParameter _2d_local_max_detect_time_win_len;
/// Peak neighbourhood in bins; half of it lies on either side of a cell.
extern IntParameter _2d_local_max_detect_freq_win_len;
/// At most this many peaks are kept of one frame.
extern IntParameter _2d_local_max_number_per_frame;

// Registered for whoever lists the parameters; nothing in the engine reads them.
extern IntParameter _1d_local_max_detection_win_len;
extern IntParameter _1d_local_max_number_per_frame;
extern DoubleParameter query_landmark_density;
extern DoubleParameter source_landmark_density;
extern DoubleParameter gauss_sigma;
extern IntParameter gauss_local_max_detection_win_len;
extern IntParameter gauss_local_max_number_per_frame;

}  // namespace audio
