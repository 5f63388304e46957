#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "match/scoring/match_ranking.h"
#include "tool/recognition/reference_database.h"

namespace audiomatch {

/// What the best candidate must reach to be recognised.
struct Thresholds {
  std::int32_t agreeing;  ///< features that agree on one offset
  double discrimination;  ///< from the best audio of another name
};

/// The measured ones; docs/recognition.md has the rates.
inline constexpr Thresholds kThresholds{12, 0.35};

/// One name that a recording may be taken from.
struct Candidate {
  std::string name;
  std::int32_t audio_index;
  std::int32_t hits;      ///< features of the recording that the audio has too, anywhere
  std::int32_t agreeing;  ///< those of them that agree on one offset
  std::int32_t offset;    ///< in frames: the reference's at the start of the recording
  /// The same in seconds; negative when the recording begins before it.
  double position() const noexcept { return audio::secondsOfFrames(offset); }
};

/// What a match comes to for its user.
struct Verdict {
  bool recognised = false;
  /// One for each name, best first, where a name is its best audio.
  std::vector<Candidate> candidates;
  /// (b - s) / (b + s), b and s being the agreeing features of the first two
  /// candidates; 1 where there is no second.
  double discrimination = 0.0;
};

/// Judges the candidates of a match. An audio of the best one's own name, a part
/// of the same long recording or a copy, is no rival.
///
/// @param matches  best first, as the engine ranks them
Verdict judge(std::span<const audio::Match> matches, const ReferenceDatabase& database,
              const Thresholds& thresholds);

}  // namespace audiomatch
