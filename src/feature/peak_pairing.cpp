#include "feature/peak_pairing.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/analysis_grid.h"

namespace audio {
namespace {

constexpr std::int32_t kFrequencyReach = 30;
constexpr int kFanOut = 6;

using FramePeaks = std::vector<std::vector<LocalMaxRecorder>>;

void pairAnchor(const FramePeaks& peaks, std::size_t anchorFrame, std::int32_t anchorFreq,
                std::vector<LandMark>& landMarks) {
  const std::size_t end = std::min(anchorFrame + kTargetFrameReach + 1, peaks.size());
  int pairs = 0;
  for (std::size_t frame = anchorFrame + 1; frame < end; ++frame) {
    for (const LocalMaxRecorder& target : peaks[frame]) {
      const std::int32_t distance = std::abs(target.freqIndex - anchorFreq);
      if (distance < 1 || distance > kFrequencyReach) continue;
      landMarks.push_back({static_cast<std::int32_t>(anchorFrame), anchorFreq, target.freqIndex,
                           static_cast<std::int32_t>(frame - anchorFrame)});
      if (++pairs == kFanOut) return;
    }
  }
}

}  // namespace

void appendPairs(const FramePeaks& peaks, std::vector<LandMark>& landMarks) {
  for (std::size_t frame = 0; frame < peaks.size(); ++frame) {
    for (const LocalMaxRecorder& anchor : peaks[frame]) {
      pairAnchor(peaks, frame, anchor.freqIndex, landMarks);
    }
  }
}

}  // namespace audio
