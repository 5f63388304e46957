#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "match/scoring/match_ranking.h"
#include "tool/recognition/reference_names.h"

namespace audiomatch {

/// What the best candidate must reach to be recognised; docs/recognition.md has
/// the rates that led to it.
struct Thresholds {
  /// So many features of a recording bring one more by chance.
  static constexpr std::size_t kFeaturesPerAgreeing = 1000;
  /// So many times the features that have to agree are no chance: the recording
  /// is recognised even if another name has about as many, a copy of it.
  static constexpr std::int32_t kPlenty = 4;
  /// Of the best of all audios rather than of those with the most hits so many features more
  /// have to agree, as chance chose it from more; but the rival is the best of the others,
  /// too, and 7/9 of the lead say as much.
  static constexpr std::int32_t kMoreAmongAll = 2;

  std::int32_t agreeing;  ///< features that agree on one offset, of a short recording
  double discrimination;  ///< from the best audio of another name

  /// What the best of all audios must reach.
  Thresholds amongAll() const noexcept {
    return {agreeing + kMoreAmongAll, discrimination * 7.0 / 9.0};
  }

  /// The least agreeing features of a rival that matter to what has so many, and to telling a
  /// discrimination up to 0.5 exactly.
  std::int32_t leastRival(std::int32_t agreeing_features) const noexcept;

  /// The features that have to agree, of a recording that has so many.
  std::int32_t needed(std::size_t features) const noexcept;

  /// True when so many agreeing features are no chance, whatever else is like it.
  bool isPlenty(std::int32_t agreeing_features, std::size_t features) const noexcept;

  /// The verdict on the best candidate of a recording.
  ///
  /// @param discriminates  the discrimination from the best audio of another name
  /// @param features       the recording's
  bool recognise(std::int32_t agreeing_features, double discriminates,
                 std::size_t features) const noexcept;
};

inline constexpr Thresholds kThresholds{10, 0.45};

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
/// of the same long recording or a copy, is no rival. One without a name is no candidate.
///
/// @param matches   best first, as the engine ranks them
/// @param features  the recording's
/// @param names     of the audios that the matches name
Verdict judge(std::span<const audio::Match> matches, std::size_t features,
              const ReferenceNames& names, const Thresholds& thresholds);

}  // namespace audiomatch
