#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

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
  SpeedSearch(Recogniser& recogniser, double farthest)
      : recogniser_(recogniser), steps_(static_cast<int>(farthest / kStep)) {}

  /// Speeds that are tried, that of the recording among them.
  std::size_t speeds() const noexcept { return 2 * static_cast<std::size_t>(steps_) + 1; }

  /// Recognises a recording. Throws Interrupted and as Recogniser does.
  ///
  /// @param tried  called after each speed but the recording's own
  AnswerAtSpeed recognise(const audio::AudioData& recording, const std::function<void()>& tried);

 private:
  Recogniser& recogniser_;
  int steps_;  // to either side
};

/// Whether a recording is recognised by what was found of it at another speed: by more agreeing
/// features than else, and by the whole lead, also of what was found among all audios, as
/// each try is a chance for that, too.
bool isRecognisedAtSpeed(const Answer& answer, const Thresholds& thresholds) noexcept;

/// A recording played slower by a factor, or faster below 1, by libsoxr: it is longer
/// and lower. Throws std::bad_alloc, also for more samples than 32 bits count.
audio::AudioDataPtr slowedDown(const audio::AudioData& recording, double factor);

}  // namespace audiomatch
