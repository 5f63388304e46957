#include "base/engine_parameters.h"

namespace audio {

// One translation unit, so that they register in this order.
IntParameter _1d_local_max_detection_win_len(51, "_1d_local_max_detection_win_len",
                                             "1d local max detector window length", true,
                                             parameterRegistry());
IntParameter _1d_local_max_number_per_frame(5, "_1d_local_max_number_per_frame",
                                            "1d local max number per frame.", true,
                                            parameterRegistry());
IntParameter _2d_local_max_detect_time_win_len(17, "_2d_local_max_detect_time_win_len",
                                               "2d local max detection time window length", true,
                                               parameterRegistry());
IntParameter _2d_local_max_detect_freq_win_len(17, "_2d_local_max_detect_freq_win_len",
                                               "2d local max deteciton freq window length", true,
                                               parameterRegistry());
IntParameter _2d_local_max_number_per_frame(25, "_2d_local_max_number_per_frame",
                                            "2d local max number per frame", true,
                                            parameterRegistry());
DoubleParameter query_landmark_density(7.0, "query_landmark_density",
                                       "landmark density for query audio", true,
                                       parameterRegistry());
DoubleParameter source_landmark_density(10.0, "source_landmark_density",
                                        "landmark density for source audio", true,
                                        parameterRegistry());
DoubleParameter gauss_sigma(30.0, "gauss_sigma", "gauss sigma for gauss envelope", true,
                            parameterRegistry());
IntParameter gauss_local_max_detection_win_len(5, "gauss_local_max_detection_win_len",
                                               "gauss local max detection window length", true,
                                               parameterRegistry());
IntParameter gauss_local_max_number_per_frame(5, "gauss_local_max_number_per_frame",
                                              "gauss local max number per frame", true,
                                              parameterRegistry());

}  // namespace audio
