#include "match/scoring/offset_consensus.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <utility>

#include "match/scoring/offset_sort.h"

namespace audio {
namespace {

/// The end of the run of offsets from `from` on, up to `end`, that `agrees`
/// accepts. Most runs are short, so a few steps come before the bisection.
template <typename Iterator, typename Agrees>
Iterator runEnd(Iterator from, Iterator end, Agrees agrees) noexcept {
  for (int step = 0; step < 8; ++step, ++from) {
    if (from == end || !agrees(*from)) return from;
  }
  return std::partition_point(from, end, agrees);
}

// ln 0.001 to four decimals, the chance that is left of never having drawn a
// good pivot, and the outlier ratio from which on no further draw is needed.
// Results depend on the last bit of both.
constexpr double kLogMissChance = -6.9078f;
constexpr float kMinOutlierRatio = 1e-12f;
static_assert(std::bit_cast<std::uint32_t>(-6.9078f) == 0xC0DD0CB3);
static_assert(std::bit_cast<std::uint32_t>(kMinOutlierRatio) == 0x2B8CBCCC);

/// Draws that suffice when `count` of `n` hits agree; `current` where the
/// formula gives no number.
std::uint32_t drawLimit(std::uint64_t count, std::uint32_t n, std::uint32_t current,
                        std::uint32_t maxIterations) noexcept {
  const float inlier_ratio = static_cast<float>(count) / static_cast<float>(n);
  if (!(inlier_ratio > FLT_MIN)) return current;
  const float outlier_ratio = 1.0f - inlier_ratio;
  if (!(outlier_ratio > kMinOutlierRatio)) return 0;
  const double limit = std::ceil(kLogMissChance / std::log(static_cast<double>(outlier_ratio)));
  if (!(limit >= INT_MIN && limit <= INT_MAX)) return maxIterations;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(limit));
}

}  // namespace

OffsetConsensus::OffsetConsensus(std::vector<std::int32_t> offsets)
    : offsets_(std::move(offsets)), sums_(offsets_.size() + 1) {
  sortOffsets(offsets_);
  for (std::size_t i = 0; i < offsets_.size(); ++i) sums_[i + 1] = sums_[i] + offsets_[i];
}

OffsetConsensus::Score OffsetConsensus::score(std::size_t hit) const noexcept {
  const std::int32_t pivot = offsets_[hit];
  if (pivot < INT_MIN + kOffsetTolerance || pivot > INT_MAX - kOffsetTolerance) {
    return scoreAcrossWrap(pivot);
  }
  const auto end = static_cast<std::size_t>(
      runEnd(offsets_.begin() + static_cast<std::ptrdiff_t>(hit), offsets_.end(),
             [pivot](std::int32_t offset) { return offset <= pivot + kOffsetTolerance; }) -
      offsets_.begin());
  const auto before = static_cast<std::size_t>(
      runEnd(offsets_.rend() - static_cast<std::ptrdiff_t>(hit), offsets_.rend(),
             [pivot](std::int32_t offset) { return offset >= pivot - kOffsetTolerance; }) -
      (offsets_.rend() - static_cast<std::ptrdiff_t>(hit)));
  const std::size_t first = hit - before;
  const std::int64_t below =
      std::int64_t{pivot} * static_cast<std::int64_t>(before) - (sums_[hit] - sums_[first]);
  const std::int64_t above =
      sums_[end] - sums_[hit] - std::int64_t{pivot} * static_cast<std::int64_t>(end - hit);
  return {end - first, static_cast<std::uint64_t>(below + above) +
                           std::uint64_t{kOffsetTolerance} * (offsets_.size() - (end - first))};
}

/// The plain count: next to the ends of the 32-bit range the agreeing offsets
/// are no single range.
OffsetConsensus::Score OffsetConsensus::scoreAcrossWrap(std::int32_t pivot) const noexcept {
  Score score{0, 0};
  for (const std::int32_t offset : offsets_) {
    const auto difference = static_cast<std::int32_t>(static_cast<std::uint32_t>(offset) -
                                                      static_cast<std::uint32_t>(pivot));
    const std::int64_t distance = std::abs(std::int64_t{difference});
    const bool agrees = distance <= kOffsetTolerance;
    score.count += agrees;
    score.error += static_cast<std::uint64_t>(agrees ? distance : kOffsetTolerance);
  }
  return score;
}

Agreement countConsistentHits(std::vector<std::int32_t> offsets, std::uint32_t maxIterations,
                              RandomDraws& draws) {
  const OffsetConsensus consensus(std::move(offsets));
  const auto n = static_cast<std::uint32_t>(consensus.hitCount());
  OffsetConsensus::Score best{0, INT_MAX};
  std::int32_t offset = 0;
  std::uint32_t drawn = 0;
  std::uint32_t limit = maxIterations;
  do {
    ++drawn;
    const std::size_t pivot = draws.next() % n;
    const OffsetConsensus::Score score = consensus.score(pivot);
    if (score.count >= best.count && score.error < best.error) {
      if (score.count > best.count) limit = drawLimit(score.count, n, limit, maxIterations);
      best = score;
      offset = consensus.offset(pivot);
    }
  } while (best.count != n && drawn <= limit && drawn <= maxIterations);
  return {static_cast<std::uint32_t>(best.count), offset};
}

}  // namespace audio
