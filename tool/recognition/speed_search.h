#pragma once

#include "base/audio_data.h"
#include "tool/recognition/recogniser.h"

namespace audiomatch {

/// What a recording is, at the speed at which it is that most clearly.
struct AnswerAtSpeed {
  Answer answer;
  double percent = 0.0;  ///< faster than its reference, and higher; below 0 slower
};

/// Recognises recordings that may run faster or slower than their references, as
/// turntables and broadcasters make them, by trying speeds one by one.
///
/// The speed at which most features agree counts. As each try is a chance for a
/// stranger, more of them have to than else; where they don't, the recording is
/// judged as it is. One thread at a time.
class SpeedSearch {
 public:
  /// Per cent from one speed to the next. Half as much away from a speed that is
  /// tried, nearly all is found that is found at that speed.
  static constexpr double kStep = 0.5;
  /// The farthest that is tried, in per cent.
  static constexpr double kFarthest = 10.0;
  /// Features that have to agree at another speed beyond those that have to else.
  static constexpr std::int32_t kMoreAgreeing = 4;

  /// @param recogniser  outlives this object
  /// @param farthest    per cent to either side that are tried; 0 for none
  SpeedSearch(Recogniser& recogniser, const Thresholds& thresholds, double farthest)
      : recogniser_(recogniser), thresholds_(thresholds), farthest_(farthest) {}

  /// Recognises a recording. Throws Interrupted and as Recogniser does.
  AnswerAtSpeed recognise(const audio::AudioData& recording);

 private:
  Recogniser& recogniser_;
  Thresholds thresholds_;
  double farthest_;
};

/// A recording played slower by a factor, or faster below 1, by libsoxr: it is longer
/// and lower. Throws std::bad_alloc.
audio::AudioDataPtr slowedDown(const audio::AudioData& recording, double factor);

}  // namespace audiomatch
