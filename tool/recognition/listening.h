#pragma once

#include <cstdint>
#include <functional>

#include "tool/input/sound_source.h"
#include "tool/recognition/listening_windows.h"
#include "tool/recognition/references.h"
#include "tool/recognition/timeline.h"

namespace audiomatch {

/// How a sound is listened to.
struct Listening {
  WindowGrid grid;
  Thresholds thresholds = kThresholds;
  unsigned jobs = 1;  ///< windows analysed at a time
};

/// What the listener is told after each window.
struct HeardSoFar {
  TimeSpan window;        ///< in seconds of the sound
  std::int32_t agreeing;  ///< features of the window that agree with its best candidate
  Heard now;              ///< heard at its end
};

/// Listens to a sound from where its source stands to its end, window by
/// window, and reports what was heard from when to when. Memory: a few windows.
/// Throws as the source does, Interrupted, and std::bad_alloc.
///
/// @param report  gets the stretches, in order, when nothing can change them
/// @param follow  is called after each window; false ends the listening
void listen(SoundSource& source, const References& references, const Listening& listening,
            const Timeline::Report& report, const std::function<bool(const HeardSoFar&)>& follow);

}  // namespace audiomatch
