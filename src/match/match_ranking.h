#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "match/audio_hash_hit.h"

namespace audio {

/// One scored candidate.
struct Match {
  std::int32_t audio_index;
  std::int32_t matched_num;  ///< most hits found to agree in offset
  double matched_ratio;      ///< their share of the candidate's hits
};

/// Scores the 20 audios with the most hits and ranks them by agreeing hits,
/// most first; equals in the order of their hit counts, then indices.
///
/// @param hits  in any order
std::vector<Match> rankMatches(std::span<const AudioHashHit> hits);

}  // namespace audio
