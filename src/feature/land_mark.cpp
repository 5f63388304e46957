#include "feature/land_mark.h"

#include <cstdlib>
#include <span>

namespace audio {
namespace {

constexpr int kFanOut = 6;

// A hash key, from the lowest bit on.
constexpr unsigned kDeltaTimeBits = 6;
constexpr unsigned kDeltaFreqBits = 6;
constexpr unsigned kAnchorFreqBits = 8;
static_assert(kDeltaTimeBits + kDeltaFreqBits + kAnchorFreqBits == kHashKeyBits);
static_assert(kTargetFrameReach == (1 << kDeltaTimeBits) - 1);
static_assert(kFrequencyReach < 1 << (kDeltaFreqBits - 1));

constexpr std::uint32_t lowBits(std::uint32_t number, unsigned bits) noexcept {
  return number & ((std::uint32_t{1} << bits) - 1);
}

struct Peak {
  std::int32_t frame;
  std::int32_t freq;
};

/// All peaks in one row, which an anchor's search for targets goes along.
std::vector<Peak> flatten(const std::vector<std::vector<LocalMaxRecorder>>& peaks) {
  std::vector<Peak> row;
  for (std::size_t frame = 0; frame < peaks.size(); ++frame) {
    for (const LocalMaxRecorder& peak : peaks[frame]) {
      row.push_back({static_cast<std::int32_t>(frame), peak.freqIndex});
    }
  }
  return row;
}

/// Pairs an anchor with the first targets among `later`, the peaks of later frames.
void pairAnchor(const Peak& anchor, std::span<const Peak> later, std::vector<LandMark>& landMarks) {
  int pairs = 0;
  for (const Peak& target : later) {
    const std::int32_t delta_time = target.frame - anchor.frame;
    if (delta_time > kTargetFrameReach) return;
    const std::int32_t distance = std::abs(target.freq - anchor.freq);
    if (distance < 1 || distance > kFrequencyReach) continue;
    landMarks.push_back({anchor.frame, anchor.freq, target.freq, delta_time});
    if (++pairs == kFanOut) return;
  }
}

}  // namespace

void appendPairs(const std::vector<std::vector<LocalMaxRecorder>>& peaks,
                 std::vector<LandMark>& landMarks) {
  const std::vector<Peak> row = flatten(peaks);
  std::size_t later = 0;  // the first peak of a later frame
  for (const Peak& anchor : row) {
    while (later < row.size() && row[later].frame <= anchor.frame) ++later;
    pairAnchor(anchor, std::span(row).subspan(later), landMarks);
  }
}

std::uint32_t hashLandMark(const LandMark& landMark) noexcept {
  const std::uint32_t delta_time =
      lowBits(static_cast<std::uint32_t>(landMark.deltaTime), kDeltaTimeBits);
  const std::uint32_t delta_freq = lowBits(static_cast<std::uint32_t>(landMark.targetFreq) -
                                               static_cast<std::uint32_t>(landMark.anchorFreq),
                                           kDeltaFreqBits);
  const std::uint32_t anchor_freq =
      lowBits(static_cast<std::uint32_t>(landMark.anchorFreq), kAnchorFreqBits);
  return anchor_freq << (kDeltaFreqBits + kDeltaTimeBits) | delta_freq << kDeltaTimeBits |
         delta_time;
}

void computeHashKeys(const LandMark* landMarks, std::size_t count,
                     std::uint32_t* hashKeys) noexcept {
  if (!landMarks || !hashKeys) return;
  for (std::size_t i = 0; i < count; ++i) hashKeys[i] = hashLandMark(landMarks[i]);
}

LandMark landMarkOfHash(std::uint32_t hashKey) noexcept {
  constexpr std::int32_t kDistances = 1 << kDeltaFreqBits;
  const auto anchor = static_cast<std::int32_t>(
      lowBits(hashKey >> (kDeltaFreqBits + kDeltaTimeBits), kAnchorFreqBits));
  const auto field = static_cast<std::int32_t>(lowBits(hashKey >> kDeltaTimeBits, kDeltaFreqBits));
  const std::int32_t distance = field < kDistances / 2 ? field : field - kDistances;
  return {0, anchor, anchor + distance,
          static_cast<std::int32_t>(lowBits(hashKey, kDeltaTimeBits))};
}

}  // namespace audio
