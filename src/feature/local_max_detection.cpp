#include "feature/local_max_detection.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <optional>

#include "feature/neighbourhood_maximum.h"

namespace audio {
namespace {

struct Matrix {
  const float* values;
  std::int64_t bins;
  std::int64_t frames;

  const float* row(std::int64_t frame) const noexcept { return values + frame * bins; }
};

/// Cells of `row` that are larger than `v` or within 2^-23 of it. A count instead of
/// a branch, so that it vectorises.
std::int32_t countRivals(const float* row, std::int64_t count, float v) noexcept {
  std::int32_t rivals = 0;
  for (std::int64_t i = 0; i < count; ++i) {
    const bool larger = v < row[i];
    const bool close = std::fabs(v - row[i]) < FLT_EPSILON;
    rivals += static_cast<std::int32_t>(larger | close);
  }
  return rivals;
}

/// The exact rule: no cell but itself is a rival.
bool isLocalMaximum(const Matrix& matrix, std::int64_t t, std::int64_t f,
                    const LocalMaxWindow& window) noexcept {
  const float v = matrix.row(t)[f];
  const std::int64_t first_frame = std::max<std::int64_t>(t - window.half_frames, 0);
  const std::int64_t last_frame = std::min<std::int64_t>(t + window.half_frames, matrix.frames - 1);
  const std::int64_t first_bin = std::max<std::int64_t>(f - window.half_bins, 0);
  const std::int64_t last_bin = std::min<std::int64_t>(f + window.half_bins, matrix.bins - 1);
  // What isn't a finite number isn't close even to itself.
  const std::int32_t itself = countRivals(&v, 1, v);
  for (std::int64_t frame = first_frame; frame <= last_frame; ++frame) {
    const std::int32_t rivals =
        countRivals(matrix.row(frame) + first_bin, last_bin - first_bin + 1, v);
    if (rivals != (frame == t ? itself : 0)) return false;
  }
  return true;
}

/// True when some of `count` cells aren't below their window's maximum.
bool anyReaches(const float* cells, const float* maxima, std::int64_t count) noexcept {
  std::uint32_t reaching = 0;
  for (std::int64_t i = 0; i < count; ++i) {
    reaching |= static_cast<std::uint32_t>(!(cells[i] < maxima[i]));
  }
  return reaching != 0;
}

bool hasNeighbours(const LocalMaxWindow& window) noexcept {
  return window.half_frames >= 0 && window.half_bins >= 0;
}

void collectFrame(const Matrix& matrix, std::int64_t t, const LocalMaxWindow& window,
                  const float* maxima, std::vector<LocalMaxRecorder>& candidates) {
  constexpr std::int64_t kBlock = 16;  // few have a cell that passes, and those few
  const float* row = matrix.row(t);
  for (std::int64_t f = 0; f < matrix.bins; ++f) {
    if (maxima && f % kBlock == 0) {
      const std::int64_t count = std::min(kBlock, matrix.bins - f);
      if (!anyReaches(row + f, maxima + f, count)) {
        f += count - 1;
        continue;
      }
    }
    // Only a cell that equals its window's maximum can pass. Written as "not
    // below", so that a value that isn't a number goes to the exact rule too.
    if (maxima && (row[f] < maxima[f] || !isLocalMaximum(matrix, t, f, window))) continue;
    candidates.push_back({static_cast<std::int32_t>(t), static_cast<std::int32_t>(f), row[f]});
  }
}

void keepLargest(std::vector<LocalMaxRecorder>& candidates, std::int32_t maxPerFrame,
                 std::vector<LocalMaxRecorder>& kept) {
  if (candidates.empty()) return;
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const auto& a, const auto& b) { return a.value > b.value; });
  const auto count = std::min(static_cast<std::ptrdiff_t>(candidates.size()),
                              static_cast<std::ptrdiff_t>(maxPerFrame));
  if (count > 0) kept.assign(candidates.begin(), candidates.begin() + count);
  candidates.clear();
}

}  // namespace

void detectLocalMaxima(const float* matrix, std::uint32_t bins, std::uint32_t frames,
                       const LocalMaxWindow& window,
                       std::vector<std::vector<LocalMaxRecorder>>& peaks) {
  peaks.clear();
  peaks.resize(frames);
  if (frames == 0 || bins == 0) return;

  const Matrix cells{matrix, bins, frames};
  std::optional<NeighbourhoodMaximum> maximum;
  if (hasNeighbours(window)) {
    maximum.emplace(matrix, frames, bins, static_cast<std::uint32_t>(window.half_frames),
                    static_cast<std::uint32_t>(window.half_bins));
  }
  std::vector<LocalMaxRecorder> candidates;
  for (std::uint32_t t = 0; t < frames; ++t) {
    collectFrame(cells, t, window, maximum ? maximum->next() : nullptr, candidates);
    keepLargest(candidates, window.max_per_frame, peaks[t]);
  }
}

}  // namespace audio
