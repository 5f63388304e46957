#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tool/recognition/heard_features.h"
#include "tool/recognition/loudness.h"
#include "tool/recognition/recogniser.h"

namespace audiomatch {

/// What the window that was surest said.
struct Surest {
  std::int32_t agreeing = 0;
  double discrimination = 0.0;  ///< from the best audio of another name
  std::optional<int> level;     ///< the engine's own, of its first two audios
  std::optional<float> engine_discrimination;
  /// Of that window; positions are those at the start of the stretch.
  std::vector<Candidate> candidates;
};

/// What a window says of one of its candidates.
Surest surestOf(const Candidate& candidate, const Answer& answer);

/// A stretch of a sound, and what is heard in it.
struct Heard {
  enum class Kind { kRecognised, kUnknown, kSilence };

  Kind kind = Kind::kUnknown;
  double from = 0.0;  ///< seconds of the sound
  double to = 0.0;
  /// The recording's, or of an unknown sound the best candidate's; may be empty.
  std::string name;
  double position = 0.0;  ///< second of the recording at `from`
  Surest surest;
};

/// One window of the sound, recognised.
struct WindowAnswer {
  TimeSpan span;  ///< seconds of the sound
  Answer answer;
  std::vector<audio::AudioFeature> features;
  FoundHits found;  ///< of these
};

/// Joins the answers for windows that overlap to what was heard from when to
/// when.
///
/// A window in which a recording is recognised begins a track; it goes on as
/// long as features agree with it on the place where it must be by then, and
/// begins and ends with the first and the last of them. One window alone is
/// believed only where it is sure. What lies between tracks is silence or
/// unknown.
class Timeline {
 public:
  /// Called with each stretch when no later window can change it, in order.
  using Report = std::function<void(const Heard&)>;

  Timeline(const Thresholds& thresholds, Report report)
      : thresholds_(thresholds), report_(std::move(report)) {}

  /// Takes the next window and the silences since `settled`.
  void add(WindowAnswer window, const std::vector<TimeSpan>& silences);

  /// Ends the sound, after its last window.
  void end();

  /// The second before which all has been reported.
  double settled() const noexcept { return settled_; }

  /// What is heard at the end of the latest window; its `to` is that end.
  Heard now() const;

 private:
  struct Track {
    std::int32_t recording;
    std::string name;
    double shift;  // frames of the recording minus frames of the sound
    double from;
    double to;
    Surest surest;
    double surest_from = 0.0;  // where its window starts
    int recognised = 0;        // windows that don't overlap
    double recognised_to = 0.0;
    bool is_sure = false;     // one window says enough
    std::int32_t latest = 0;  // features that agree in the latest window

    double positionAt(double second) const noexcept;
  };

  Agreement agreement(const WindowAnswer& window, const Track& track) const;
  bool goesOn(const Agreement& agreement) const noexcept;
  bool isHeard(const Candidate& candidate, const WindowAnswer& window) const noexcept;
  bool isBelieved(const Track& track) const noexcept;
  bool isOutshone(const Track& track) const noexcept;
  void follow(Track& track, const WindowAnswer& window) const;
  Track* trackOf(const Candidate& candidate, double shift);
  void note(const Candidate& candidate, const WindowAnswer& window);
  void begin(Track track, const WindowAnswer& window);
  void remember(WindowAnswer window);
  void closeThoseEnded(double second);
  void settle();
  Heard heardOf(const Track& track) const;
  void reportTrack(Track track);
  void reportGap(double to);
  void reportUnknown(const TimeSpan& span);

  Thresholds thresholds_;
  Report report_;
  std::vector<Track> open_;
  std::vector<Track> closed_;
  std::optional<Track> reported_;  // the latest
  std::deque<WindowAnswer> history_;
  std::vector<Heard> candidates_;  // of windows in which nothing was recognised
  std::vector<TimeSpan> silences_;
  double settled_ = 0.0;
  double end_ = 0.0;  // of the latest window
};

}  // namespace audiomatch
