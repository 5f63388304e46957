#pragma once

#include <string>
#include <vector>

#include "tool/picture/page.h"

namespace audiomatch {

/// What was heard from when to when, in seconds of a recording.
struct TimelineSpan {
  enum class Kind { kRecognised, kUnknown, kSilence };

  double from;
  double to;
  Kind kind;
  std::string name;  ///< of what was recognised (UTF-8)
  double position;   ///< second of the reference at `from`
  int agreeing;      ///< features that agreed, the more the surer
};

/// How sure a piece of the recording was.
struct TimelineWindow {
  double from;
  double to;
  int agreeing;     ///< features that agree with the best candidate
  bool recognised;  ///< whether that is what is heard
};

/// What was heard in a long recording, to be looked at.
struct TimelinePicture {
  std::string title;
  std::string subtitle;
  double from;
  double to;
  int threshold;  ///< agreeing features from which a recording is recognised
  std::vector<TimelineSpan> spans;
  std::vector<TimelineWindow> windows;  ///< in order of time; none for no curve
};

/// Draws a row for each name, the most heard first, with its spans, the darker
/// the surer; below them unknown sound and silence; and, on the same time axis,
/// a curve of the agreeing features. Names beyond what a page holds share a row.
///
/// Returns the bytes of the picture; throws std::runtime_error.
std::vector<unsigned char> drawTimeline(const TimelinePicture& picture, PictureFormat format);

}  // namespace audiomatch
