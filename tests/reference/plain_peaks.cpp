#include <algorithm>
#include <cfloat>
#include <cmath>

#include "plain_features.h"

namespace plain {

// Whether a cell of value `v` loses to a neighbour of value `b`: by being smaller, or by being as
// good as equal, so that a plateau has no peak.
static bool losesTo(float v, float b) { return v < b || std::fabs(v - b) < FLT_EPSILON; }

// Whether the cell at frame t, bin f loses to none of its neighbours: the cells of the matrix,
// other than itself, that lie at most `reach_t` frames and `reach_f` bins away. Negative reaches
// reach nobody.
static bool isPeak(const Matrix& matrix, std::int64_t t, std::int64_t f, std::int64_t reach_t,
                   std::int64_t reach_f) {
  for (std::int64_t other_t = t - reach_t; other_t <= t + reach_t; ++other_t) {
    for (std::int64_t other_f = f - reach_f; other_f <= f + reach_f; ++other_f) {
      const bool in_time = other_t >= 0 && other_t < std::int64_t(matrix.frames);
      const bool in_frequency = other_f >= 0 && other_f < std::int64_t(matrix.bins);
      const bool is_itself = other_t == t && other_f == f;
      if (!in_time || !in_frequency || is_itself) continue;
      if (losesTo(matrix.at(t, f), matrix.at(other_t, other_f))) return false;
    }
  }
  return true;
}

// Every cell is compared with its whole neighbourhood. Of equal values the lower bin comes first.
Peaks extractPeaks(const Matrix& matrix, Log& log, std::int32_t timeWinLen, std::int32_t freqWinLen,
                   std::int32_t maxPerFrame) {
  const std::int32_t reach_t = timeWinLen >> 1;
  const std::int32_t reach_f = freqWinLen >> 1;
  say(log, "half local max detect freq win len = %d, half time win len = %d.", reach_f, reach_t);
  Peaks peaks;
  for (std::int32_t t = 0; t < std::int32_t(matrix.frames); ++t) {
    std::vector<Peak> frame;
    for (std::int32_t f = 0; f < std::int32_t(matrix.bins); ++f) {
      if (isPeak(matrix, t, f, reach_t, reach_f)) {
        frame.push_back({t, f, matrix.at(t, f)});
      }
    }
    std::ranges::stable_sort(frame, std::greater(), &Peak::value);
    const std::size_t most = maxPerFrame > 0 ? std::size_t(maxPerFrame) : 0;
    if (frame.size() > most) frame.resize(most);
    peaks.push_back(frame);
  }
  return peaks;
}

}  // namespace plain
