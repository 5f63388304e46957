#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

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

  /// Scores the offset of hit number `hit`, in ascending order of offsets.
  /// Differences are taken in 32 bits and wrap; one of 2^31 is a disagreement.
  Score score(std::size_t hit) const noexcept;

 private:
  Score scoreAcrossWrap(std::int32_t pivot) const noexcept;

  std::vector<std::int32_t> offsets_;
  std::vector<std::int64_t> sums_;  // sums_[i]: sum of the first i offsets
};

/// The largest number of hits found to agree, by a randomised search: a hit
/// drawn at random is the pivot, and the search ends when all agree or when
/// more draws are unlikely (0.1 %) to find a larger agreement
/// (M. Fischler and R. Bolles, "Random sample consensus", 1981).
///
/// @param offsets        those of one audio's hits, at least one
/// @param maxIterations  cap; at most one draw more than it is made
std::uint32_t countConsistentHits(std::vector<std::int32_t> offsets, std::uint32_t maxIterations);

}  // namespace audio
