#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "match/database/audio_hash_hit.h"

namespace audio {

/// The hits of one audio: what scoring needs of them.
struct HitGroup {
  std::int32_t audio_index;
  std::vector<std::int32_t> offsets;  ///< time offsets, in the order of the hits

  /// Number of the group's hits.
  std::size_t hitCount() const noexcept { return offsets.size(); }
};

/// The `maxGroups` audios with the most hits, most first; audios with equally
/// many in the order of their indices, signed ascending.
///
/// This is what sorting all hits by audio, splitting them into runs and
/// sorting the runs by length gives, without the sorting: hits are counted by
/// audio, and only those of the groups asked for are collected. Throws
/// std::bad_alloc.
///
/// @param maxGroups  below 65,535
std::vector<HitGroup> largestGroups(std::span<const AudioHashHit> hits, std::size_t maxGroups);

}  // namespace audio
