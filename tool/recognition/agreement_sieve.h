#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "match/database/audio_hash_hit.h"

namespace audiomatch {

/// An audio, and how many of its hits agree on one offset.
struct AgreeingAudio {
  std::int32_t audio_index;
  std::int32_t agreeing;  ///< most hits within the engine's tolerance of one of them: exact
  std::int32_t offset;    ///< the median one of those
};

/// Finds those audios among many whose hits agree, however few hits they have.
///
/// Hits are counted in cells of an audio's offsets, which share a table as they come by their
/// hash: what agrees lies in two cells next to each other, and nearly all hits lie in others,
/// whose counts are small. So a table of bytes rules out all but a few, and only those few
/// are sorted and looked at closely.
class AgreementSieve {
 public:
  /// Counts. Throws std::bad_alloc.
  ///
  /// @param hits  in any order; they outlive this object
  explicit AgreementSieve(std::span<const audio::AudioHashHit> hits);

  /// The audios with so many agreeing hits, most first; equals in the order of their
  /// indices. Throws std::bad_alloc.
  ///
  /// @param least  1 or more; the more, the faster
  std::vector<AgreeingAudio> audiosWith(std::int32_t least) const;

 private:
  std::size_t slotOf(const audio::AudioHashHit& hit) const noexcept;

  std::span<const audio::AudioHashHit> hits_;
  // By slot, up to 255; a size that is a power of 2, and one slot more to either side.
  std::vector<std::uint8_t> counts_;
  std::uint32_t mask_;
};

}  // namespace audiomatch
