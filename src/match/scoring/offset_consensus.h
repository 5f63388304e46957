#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "match/scoring/random_draws.h"

namespace audio {

/// Largest difference of two offsets that counts as agreement, in frames.
inline constexpr std::int32_t kOffsetTolerance = 4;

/// How the hits of one audio agree in their time offset.
///
/// With the offsets sorted, the hits that agree with a pivot are a range around
/// it; sums over prefixes give its error without a visit to each hit.
class OffsetConsensus {
 public:
  /// How well the hits agree with one pivot.
  struct Score {
    std::uint64_t count;  ///< hits within the tolerance
    std::uint64_t error;  ///< their distances, and the tolerance for every other hit
  };

  /// @param offsets  those of one audio's hits, in any order
  explicit OffsetConsensus(std::vector<std::int32_t> offsets);

  std::size_t hitCount() const noexcept { return offsets_.size(); }

  /// The offset of hit number `hit`, in ascending order of offsets.
  std::int32_t offset(std::size_t hit) const noexcept { return offsets_[hit]; }

  /// Scores the offset of hit number `hit` as a pivot.
  /// Differences are taken in 32 bits and wrap; one of 2^31 is a disagreement.
  Score score(std::size_t hit) const noexcept;

 private:
  Score scoreAcrossWrap(std::int32_t pivot) const noexcept;

  std::vector<std::int32_t> offsets_;
  std::vector<std::int64_t> sums_;  // sums_[i]: sum of the first i offsets
};

/// The largest set of hits that was found to agree.
struct Agreement {
  std::uint32_t count;  ///< its hits
  std::int32_t offset;  ///< of the hit that they agree with, in frames
};

/// Finds the largest agreement by a randomised search: a hit drawn at random
/// is the pivot, and the search ends when all agree or when more draws are
/// unlikely (0.1 %) to find a larger agreement (M. Fischler and R. Bolles,
/// "Random sample consensus", 1981). Throws std::bad_alloc.
///
/// @param offsets        those of one audio's hits, at least one
/// @param maxIterations  cap; at most one draw more than it is made
/// @param draws          where the random numbers come from
Agreement countConsistentHits(std::vector<std::int32_t> offsets, std::uint32_t maxIterations,
                              RandomDraws& draws);

}  // namespace audio
