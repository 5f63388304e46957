#include "tool/recognition/timeline.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/analysis_grid.h"

namespace audiomatch {
namespace {

// In seconds. A recording that is drowned for less than this goes on.
constexpr double kBridge = 10.0;
// Shorter gaps aren't worth a line, nor are shorter silences.
constexpr double kLeastGap = 2.0;
// An unknown sound that lasts longer is reported piece by piece.
constexpr double kMostUnsettled = 3600.0;
// Windows in which a new track is looked for backwards.
constexpr std::size_t kHistory = 24;
// Two places in a recording this close, in frames, are the same.
constexpr double kSamePlace = 16.0;

double framesOf(double seconds) noexcept {
  return seconds * audio::kAnalysisRate / audio::kHopSamples;
}

double overlap(const TimeSpan& a, const TimeSpan& b) noexcept {
  return std::min(a.to, b.to) - std::max(a.from, b.from);
}

}  // namespace

Surest surestOf(const Candidate& candidate, const Answer& answer) {
  return {candidate.agreeing, answer.verdict.discrimination, answer.level,
          answer.engine_discrimination, answer.verdict.candidates};
}

void Timeline::add(WindowAnswer window, const std::vector<TimeSpan>& silences) {
  silences_ = silences;
  end_ = window.span.to;
  for (Track& track : open_) follow(track, window);
  bool heard = false;
  for (const Candidate& candidate : window.answer.verdict.candidates) {
    if (!isHeard(candidate, window)) continue;
    note(candidate, window);
    heard = true;
  }
  if (!heard && !window.answer.verdict.candidates.empty()) {
    const Candidate& best = window.answer.verdict.candidates[0];
    candidates_.push_back({Heard::Kind::kUnknown, window.span.from, window.span.to, best.name,
                           best.position(), surestOf(best, window.answer)});
  }
  remember(std::move(window));
  closeThoseEnded(end_ - kBridge);
  settle();
  if (open_.empty() && end_ - settled_ > kMostUnsettled) reportGap(end_ - kBridge);
}

void Timeline::end() {
  closeThoseEnded(std::numeric_limits<double>::infinity());
  settle();
  reportGap(end_);
}

double Timeline::Track::positionAt(double second) const noexcept {
  return std::max(audio::secondsOfFrames(shift) + second, 0.0);
}

Agreement Timeline::agreement(const WindowAnswer& window, const Track& track) const {
  const double offset = track.shift + framesOf(window.span.from);
  return agreementAt(window.features, window.found, track.recording,
                     static_cast<std::int32_t>(std::lround(offset)));
}

bool Timeline::goesOn(const Agreement& agreement) const noexcept {
  return agreement.features >= thresholds_.agreeing;
}

bool Timeline::isHeard(const Candidate& candidate, const WindowAnswer& window) const noexcept {
  const Verdict& verdict = window.answer.verdict;
  const bool is_best = &candidate == &verdict.candidates.front();
  return thresholds_.isPlenty(candidate.agreeing, window.features.size()) ||
         (verdict.recognised && is_best);
}

bool Timeline::isBelieved(const Track& track) const noexcept {
  return track.is_sure || track.recognised > 1;
}

/// True when most of a track is covered by one that has more in common with
/// the sound: it is another version, or another place of the same recording.
bool Timeline::isOutshone(const Track& track) const noexcept {
  const TimeSpan span{track.from, track.to};
  const auto covers = [&](const Track& other) {
    return &other != &track && isBelieved(other) && other.surest.agreeing > track.surest.agreeing &&
           overlap({other.from, other.to}, span) > 0.7 * span.length();
  };
  return std::ranges::any_of(open_, covers) || std::ranges::any_of(closed_, covers) ||
         (reported_ && covers(*reported_));
}

/// Extends a track by what a window has of it.
void Timeline::follow(Track& track, const WindowAnswer& window) const {
  const Agreement found = agreement(window, track);
  track.latest = found.features;
  if (!goesOn(found)) return;
  // What is played a little too fast moves away.
  track.shift = found.offset - framesOf(window.span.from);
  const double last = window.span.from + audio::secondsOfFrames(found.last_frame + 1);
  track.to = std::max(track.to, std::min(last, window.span.to));
}

/// The open track that a candidate belongs to. A recording that repeats itself
/// agrees at several places: as long as it goes on at one, that is the place.
Timeline::Track* Timeline::trackOf(const Candidate& candidate, double shift) {
  for (Track& track : open_) {
    if (track.name != candidate.name) continue;
    if (std::abs(track.shift - shift) <= kSamePlace || 2 * track.latest >= candidate.agreeing) {
      return &track;
    }
  }
  return nullptr;
}

/// Puts a candidate that is heard down to its track.
void Timeline::note(const Candidate& candidate, const WindowAnswer& window) {
  const double shift = candidate.offset - framesOf(window.span.from);
  if (!trackOf(candidate, shift)) {
    begin({.recording = window.found.names->recording(candidate.audio_index),
           .name = candidate.name,
           .shift = shift,
           .from = window.span.to,
           .to = window.span.from,
           .surest = {}},
          window);
  }
  Track& track = *trackOf(candidate, shift);
  if (window.span.from >= track.recognised_to) {
    ++track.recognised;
    track.recognised_to = window.span.to;
  }
  if (thresholds_.isPlenty(candidate.agreeing, window.features.size())) track.is_sure = true;
  if (candidate.agreeing <= track.surest.agreeing) return;
  track.surest = surestOf(candidate, window.answer);
  track.surest_from = window.span.from;
}

/// Opens a track that is heard in a window, and finds its beginning in those
/// before.
void Timeline::begin(Track track, const WindowAnswer& window) {
  const auto extend = [&](const WindowAnswer& heard_in) {
    const Agreement found = agreement(heard_in, track);
    if (found.features > 0) {
      const double from = heard_in.span.from;
      track.from = std::min(track.from, from + audio::secondsOfFrames(found.first_frame));
      track.to = std::max(track.to, std::min(from + audio::secondsOfFrames(found.last_frame + 1),
                                             heard_in.span.to));
    }
    return found;
  };
  track.latest = extend(window).features;
  for (std::size_t i = history_.size(); i-- > 0;) {
    const WindowAnswer& before = history_[i];
    if (before.span.to < track.from || !goesOn(agreement(before, track))) break;
    extend(before);
  }
  open_.push_back(std::move(track));
}

void Timeline::remember(WindowAnswer window) {
  history_.push_back(std::move(window));
  if (history_.size() > kHistory) history_.pop_front();
}

/// Closes the tracks of which nothing was heard since a second.
void Timeline::closeThoseEnded(double second) {
  for (const Track& track : open_) {
    if (track.to >= second) continue;
    if (isBelieved(track)) {
      closed_.push_back(track);
    } else {
      candidates_.push_back(heardOf(track));
    }
  }
  std::erase_if(open_, [&](const Track& track) { return track.to < second; });
}

/// Reports the tracks before which nothing can change any more.
void Timeline::settle() {
  std::ranges::sort(closed_, {}, &Track::from);
  while (!closed_.empty()) {
    const Track first = closed_.front();
    const auto starts_before = [&](const Track& track) { return track.from < first.from; };
    if (std::ranges::any_of(open_, starts_before)) return;
    const bool outshone = isOutshone(closed_.front());
    closed_.erase(closed_.begin());
    if (!outshone) reportTrack(first);
  }
}

Heard Timeline::heardOf(const Track& track) const {
  Heard heard{Heard::Kind::kRecognised,     track.from,  track.to, track.name,
              track.positionAt(track.from), track.surest};
  const auto frames =
      static_cast<std::int32_t>(std::lround(framesOf(track.surest_from - track.from)));
  for (Candidate& candidate : heard.surest.candidates) candidate.offset -= frames;
  return heard;
}

void Timeline::reportTrack(Track track) {
  // A recording that is begun again ends where it begins.
  for (const std::vector<Track>* tracks : {&closed_, &open_}) {
    for (const Track& next : *tracks) {
      if (next.recording == track.recording) track.to = std::min(track.to, next.from);
    }
  }
  reportGap(track.from);
  report_(heardOf(track));
  settled_ = std::max(settled_, track.to);
  reported_ = track;
  std::erase_if(candidates_, [&](const Heard& heard) { return heard.to <= settled_; });
}

/// Reports what lies between the tracks, up to a second.
void Timeline::reportGap(double to) {
  const TimeSpan gap{settled_, to};
  if (gap.length() < kLeastGap) return;
  double from = gap.from;
  for (const TimeSpan& silence : silences_) {
    const TimeSpan part{std::max(silence.from, from), std::min(silence.to, to)};
    if (part.length() < kLeastGap) continue;
    reportUnknown({from, part.from});
    report_({.kind = Heard::Kind::kSilence,
             .from = part.from,
             .to = part.to,
             .name = {},
             .surest = {}});
    from = part.to;
  }
  reportUnknown({from, to});
  settled_ = to;
}

/// Reports a sound of which nothing is known, with its best candidate.
void Timeline::reportUnknown(const TimeSpan& span) {
  if (span.length() < kLeastGap) return;
  Heard heard{.kind = Heard::Kind::kUnknown, .name = {}, .surest = {}};
  for (const Heard& candidate : candidates_) {
    const bool lies_within = overlap({candidate.from, candidate.to}, span) > 0;
    if (lies_within && candidate.surest.agreeing > heard.surest.agreeing) heard = candidate;
  }
  heard.kind = Heard::Kind::kUnknown;
  heard.from = span.from;
  heard.to = span.to;
  report_(heard);
}

Heard Timeline::now() const {
  const Track* best = nullptr;
  for (const Track& track : open_) {
    const bool goes_on = track.latest >= thresholds_.agreeing && isBelieved(track);
    // Two that sound alike don't take turns.
    if (goes_on && (!best || track.latest > 2 * best->latest)) best = &track;
  }
  if (best) {
    Heard heard = heardOf(*best);
    heard.to = end_;
    return heard;
  }
  Heard heard{.from = settled_, .to = end_, .name = {}, .surest = {}};
  for (const TimeSpan& silence : silences_) {
    if (silence.length() < kLeastGap) continue;
    const bool goes_on = end_ - silence.to < kLeastGap / 2;
    heard.kind = goes_on ? Heard::Kind::kSilence : Heard::Kind::kUnknown;
    heard.from = goes_on ? silence.from : std::max(silence.to, settled_);
  }
  return heard;
}

}  // namespace audiomatch
