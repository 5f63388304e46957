#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "match/audio_hash_hit.h"

namespace audio {

/// Largest difference of two offsets that counts as agreement, in frames.
inline constexpr std::int32_t kOffsetTolerance = 4;

/// How the hits of one audio agree in their time offset.
///
/// With the offsets sorted, the hits that agree with a pivot are a range; sums
/// over prefixes give its error without a visit to each hit.
class OffsetConsensus {
 public:
  /// How well the hits agree with one pivot.
  struct Score {
    std::uint64_t count;  ///< hits within the tolerance
    std::uint64_t error;  ///< their distances, and the tolerance for every other hit
  };

  /// @param hits  those of one audio, in any order; not kept
  explicit OffsetConsensus(std::span<const AudioHashHit> hits);

  std::size_t hitCount() const noexcept { return offsets_.size(); }
  /// The offset of hit number `i` in ascending order.
  std::int32_t offset(std::size_t i) const noexcept { return offsets_[i]; }

  /// Scores a pivot. Differences are taken in 32 bits and wrap; one of 2^31
  /// is a disagreement.
  Score score(std::int32_t pivot) const noexcept;

 private:
  Score scoreAcrossWrap(std::int32_t pivot) const noexcept;

  std::vector<std::int32_t> offsets_;
  std::vector<std::int64_t> sums_;  // sums_[i]: sum of the first i offsets
};

/// The largest number of hits found to agree, by a randomised search: a hit
/// drawn at random is the pivot, and the search ends when all agree or when it
/// has drawn often enough to have met an agreeing pair with 99.9 %
/// (M. Fischler and R. Bolles, "Random sample consensus", 1981).
///
/// @param hits           those of one audio, at least one
/// @param maxIterations  cap; one draw more than it is made at most
std::uint32_t countConsistentHits(std::span<const AudioHashHit> hits, std::uint32_t maxIterations);

}  // namespace audio
