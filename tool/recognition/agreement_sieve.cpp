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

// Counts never go beyond.
constexpr std::uint8_t kFull = UINT8_MAX;

constexpr std::uint32_t kSign = 0x8000'0000;

/// A hit as a number, in whose order hits lie by audio, then offset.
std::uint64_t keyOf(const AudioHashHit& hit) noexcept {
  const auto audio = static_cast<std::uint32_t>(hit.audio_index) ^ kSign;
  return std::uint64_t{audio} << 32 | (static_cast<std::uint32_t>(hit.time_offset) ^ kSign);
}

std::int32_t audioOf(std::uint64_t key) noexcept {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(key >> 32) ^ kSign);
}

/// Moves a window over one audio's hits: those that agree with each in turn.
AgreeingAudio agreementOf(std::span<const std::uint64_t> keys) noexcept {
  AgreeingAudio best{audioOf(keys.front()), 0, 0};
  auto first = keys.begin();
  auto past = keys.begin();
  for (const std::uint64_t pivot : keys) {
    // Of one audio, keys differ by as much as their offsets.
    while (pivot - *first > audio::kOffsetTolerance) ++first;
    while (past != keys.end() && (*past < pivot || *past - pivot <= audio::kOffsetTolerance))
      ++past;
    const auto agreeing = static_cast<std::int32_t>(past - first);
    if (agreeing <= best.agreeing) continue;
    best.agreeing = agreeing;
    best.offset =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(first[agreeing / 2]) ^ kSign);
  }
  return best;
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
  // Where a count is full nothing is ruled out.
  const int enough = std::min(least, std::int32_t{kFull});
  std::vector<std::uint64_t> keys;
  for (const AudioHashHit& hit : hits_) {
    const std::uint8_t* const count = counts_.data() + slotOf(hit);
    if (*count + std::max(count[-1], count[1]) >= enough) keys.push_back(keyOf(hit));
  }
  std::ranges::sort(keys);
  std::vector<AgreeingAudio> audios;
  for (auto begin = keys.begin(), end = begin; begin != keys.end(); begin = end) {
    end = std::find_if(begin, keys.end(),
                       [&](std::uint64_t key) { return key >> 32 != *begin >> 32; });
    const AgreeingAudio audio = agreementOf({begin, end});
    if (audio.agreeing >= least) audios.push_back(audio);
  }
  std::ranges::stable_sort(audios, std::greater(), &AgreeingAudio::agreeing);
  return audios;
}

}  // namespace audiomatch
