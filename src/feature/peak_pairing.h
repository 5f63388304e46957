#pragma once

#include <vector>

#include "feature/land_mark.h"
#include "feature/local_max_recorder.h"

namespace audio {

/// Appends the landmarks of one pass to `landMarks`.
///
/// Each peak, in frame order and strongest first within a frame, is the anchor
/// of up to 6 landmarks, to the first later peaks within 63 frames and 1 to 30
/// bins, in the same order.
///
/// @param peaks  one list per frame, strongest first
void appendPairs(const std::vector<std::vector<LocalMaxRecorder>>& peaks,
                 std::vector<LandMark>& landMarks);

}  // namespace audio
