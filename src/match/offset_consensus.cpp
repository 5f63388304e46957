#include "match/offset_consensus.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>

#include "match/random_draw.h"

namespace audio {

OffsetConsensus::OffsetConsensus(std::span<const AudioHashHit> hits)
    : offsets_(hits.size()), sums_(hits.size() + 1) {
  std::transform(hits.begin(), hits.end(), offsets_.begin(),
                 [](const AudioHashHit& hit) { return hit.time_offset; });
  std::sort(offsets_.begin(), offsets_.end());
  for (std::size_t i = 0; i < offsets_.size(); ++i) sums_[i + 1] = sums_[i] + offsets_[i];
}

OffsetConsensus::Score OffsetConsensus::score(std::int32_t pivot) const noexcept {
  if (pivot < INT_MIN + kOffsetTolerance || pivot > INT_MAX - kOffsetTolerance) {
    return scoreAcrossWrap(pivot);
  }
  const auto begin = offsets_.begin();
  const auto first = std::lower_bound(begin, offsets_.end(), pivot - kOffsetTolerance);
  const auto middle = std::lower_bound(first, offsets_.end(), pivot);
  const auto end = std::upper_bound(middle, offsets_.end(), pivot + kOffsetTolerance);
  const auto sum = [&](auto from, auto to) { return sums_[static_cast<std::size_t>(to - begin)] -
                                                    sums_[static_cast<std::size_t>(from - begin)]; };
  const std::int64_t below = std::int64_t{pivot} * (middle - first) - sum(first, middle);
  const std::int64_t above = sum(middle, end) - std::int64_t{pivot} * (end - middle);
  const auto count = static_cast<std::uint64_t>(end - first);
  return {count, static_cast<std::uint64_t>(below + above) +
                     std::uint64_t{kOffsetTolerance} * (offsets_.size() - count)};
}

/// The plain count: next to the ends of the 32-bit range the agreeing offsets
/// are no single range.
OffsetConsensus::Score OffsetConsensus::scoreAcrossWrap(std::int32_t pivot) const noexcept {
  Score score{0, 0};
  for (const std::int32_t offset : offsets_) {
    const auto difference =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(offset) - static_cast<std::uint32_t>(pivot));
    const std::int64_t distance = std::abs(std::int64_t{difference});
    const bool agrees = distance <= kOffsetTolerance;
    score.count += agrees;
    score.error += static_cast<std::uint64_t>(agrees ? distance : kOffsetTolerance);
  }
  return score;
}

namespace {

// ln 0.001, the chance that is left of never having drawn a good pivot, and
// the least share of strangers that still needs drawing, as the single-precision
// values they are.
constexpr double kLogMissChance = std::bit_cast<float>(0xC0DD0CB3u);
constexpr float kMinStrangers = std::bit_cast<float>(0x2B8CBCCCu);

/// Draws that suffice when `count` of `n` hits agree; `current` where the
/// formula gives no number.
std::uint32_t drawLimit(std::uint64_t count, std::size_t n, std::uint32_t current,
                        std::uint32_t maxIterations) noexcept {
  const float agreeing = static_cast<float>(count) / static_cast<float>(n);
  if (!(agreeing > FLT_MIN)) return current;
  const float strangers = 1.0f - agreeing;
  if (!(strangers > kMinStrangers)) return 0;
  const double limit = std::ceil(kLogMissChance / std::log(static_cast<double>(strangers)));
  if (!(limit >= INT_MIN && limit <= INT_MAX)) return maxIterations;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(limit));
}

}  // namespace

std::uint32_t countConsistentHits(std::span<const AudioHashHit> hits, std::uint32_t maxIterations) {
  const OffsetConsensus consensus(hits);
  const std::size_t n = consensus.hitCount();
  OffsetConsensus::Score best{0, INT_MAX};
  std::uint32_t draws = 0;
  std::uint32_t limit = maxIterations;
  do {
    ++draws;
    const OffsetConsensus::Score drawn = consensus.score(consensus.offset(drawRandom() % n));
    if (drawn.count >= best.count && drawn.error < best.error) {
      if (drawn.count > best.count) limit = drawLimit(drawn.count, n, limit, maxIterations);
      best = drawn;
    }
  } while (best.count != n && draws <= limit && draws <= maxIterations);
  return static_cast<std::uint32_t>(best.count);
}

}  // namespace audio
