#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/analysis_grid.h"
#include "match/database/audio_hash_hit.h"
#include "match/scoring/random_draws.h"

namespace audio {

/// One scored candidate.
struct Match {
  std::int32_t audio_index;  ///< -1 for what no entry was found for
  std::int32_t matched_num;  ///< most hits found to agree in offset
  double matched_ratio;      ///< their share of the candidate's hits
  std::int32_t hit_count;    ///< the candidate's hits
  std::int32_t offset;       ///< on which they agree: the reference's frame at the query's start

  /// Where the query starts in the reference, in seconds from its start;
  /// negative when the query begins before it.
  double offsetSeconds() const noexcept { return secondsOfFrames(offset); }
};

/// How many audios are scored.
inline constexpr std::size_t kMaxCandidates = 20;

/// Scores the 20 audios with the most hits and ranks them by agreeing hits,
/// most first; equals in the order of their hit counts, then indices. Throws
/// std::bad_alloc.
///
/// @param hits   in any order
/// @param draws  where the randomised search gets its numbers
std::vector<Match> rankMatches(std::span<const AudioHashHit> hits, RandomDraws& draws);

}  // namespace audio
