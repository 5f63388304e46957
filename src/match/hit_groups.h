#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "match/audio_hash_hit.h"

namespace audio {

/// Orders hits by audio index, signed ascending; hits of one audio keep their
/// order.
void sortByAudioIndex(std::vector<AudioHashHit>& hits);

/// The hits of one audio. A view into the sorted hits.
struct HitGroup {
  std::int32_t audio_index;
  std::int32_t hit_count;
  std::span<const AudioHashHit> hits;
};

/// The `maxGroups` groups with the most hits, most first; groups of equal size
/// in the order of their audio indices.
///
/// @param hits  sorted by audio index; outlives the result
std::vector<HitGroup> largestGroups(std::span<const AudioHashHit> hits, std::size_t maxGroups);

}  // namespace audio
