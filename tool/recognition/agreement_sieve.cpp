#include "tool/recognition/agreement_sieve.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <functional>

#include "match/scoring/offset_consensus.h"

namespace audiomatch {
namespace {

using audio::AudioHashHit;

// A cell is 8 frames wide: hits that agree with one lie within 9, so in two cells.
constexpr int kCellBits = 3;
static_assert(2 * audio::kOffsetTolerance <= 1 << kCellBits);

// Twice as many slots as hits, so that few of them share one; at most 16 MiB of them, as a
// table beyond the cache is slower than a few more hits to look at.
constexpr std::size_t kMostSlots = std::size_t{1} << 24;

// Counts never go beyond, which rules nothing out.
constexpr std::uint8_t kFull = UINT8_MAX;

bool comesBefore(const AudioHashHit& a, const AudioHashHit& b) noexcept {
  return a.audio_index != b.audio_index ? a.audio_index < b.audio_index
                                        : a.time_offset < b.time_offset;
}

/// Most of one audio's hits within the tolerance of one of them.
///
/// @param hits  ascending by offset
std::int32_t agreeingOf(std::span<const AudioHashHit> hits) noexcept {
  std::ptrdiff_t most = 0;
  auto first = hits.begin();
  auto past = hits.begin();
  for (const AudioHashHit& pivot : hits) {
    const auto distance = [&](const AudioHashHit& hit) {
      return std::int64_t{hit.time_offset} - pivot.time_offset;
    };
    while (distance(*first) < -audio::kOffsetTolerance) ++first;
    while (past != hits.end() && distance(*past) <= audio::kOffsetTolerance) ++past;
    most = std::max(most, past - first);
  }
  return static_cast<std::int32_t>(most);
}

}  // namespace

AgreementSieve::AgreementSieve(std::span<const AudioHashHit> hits)
    : hits_(hits),
      counts_(std::min(std::bit_ceil(2 * hits.size() + 1), kMostSlots) + 2),
      mask_(static_cast<std::uint32_t>(counts_.size() - 3)) {
  for (const AudioHashHit& hit : hits) {
    std::uint8_t& count = counts_[slotOf(hit)];
    if (count < kFull) ++count;
  }
  counts_.front() = counts_[counts_.size() - 2];
  counts_.back() = counts_[1];
}

/// An audio's cells lie next to each other, from a place that its index is scattered to
/// (D. Knuth, "The Art of Computer Programming", volume 3, on multiplicative hashing).
std::size_t AgreementSieve::slotOf(const AudioHashHit& hit) const noexcept {
  constexpr std::uint32_t kGoldenRatio = 0x9E3779B1;
  const std::uint32_t begin = static_cast<std::uint32_t>(hit.audio_index) * kGoldenRatio;
  // The shift keeps the sign: what comes before an audio's start lies next to what comes behind.
  return ((begin + static_cast<std::uint32_t>(hit.time_offset >> kCellBits)) & mask_) + 1;
}

std::vector<AgreeingAudio> AgreementSieve::audiosWith(std::int32_t least) const {
  std::vector<AudioHashHit> left;
  for (const AudioHashHit& hit : hits_) {
    const std::uint8_t* const count = counts_.data() + slotOf(hit);
    if (*count == kFull || *count + std::max(count[-1], count[1]) >= least) left.push_back(hit);
  }
  std::ranges::sort(left, comesBefore);
  std::vector<AgreeingAudio> audios;
  for (auto begin = left.begin(), end = begin; begin != left.end(); begin = end) {
    end = std::find_if(begin, left.end(), [&](const AudioHashHit& hit) {
      return hit.audio_index != begin->audio_index;
    });
    const std::int32_t agreeing = agreeingOf({begin, end});
    if (agreeing >= least) audios.push_back({begin->audio_index, agreeing});
  }
  std::ranges::stable_sort(audios, std::greater(), &AgreeingAudio::agreeing);
  return audios;
}

}  // namespace audiomatch
