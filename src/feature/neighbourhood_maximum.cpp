#include "feature/neighbourhood_maximum.h"

#include <algorithm>
#include <limits>

#include "base/wide_vectors.h"

namespace audio {
namespace {

constexpr float kAbsent = -std::numeric_limits<float>::infinity();

// What they write overlaps nothing that they read but itself: said so, these loops vectorise.

AUDIO_WIDE_VECTORS void maximumOf(const float* a, const float* b, float* __restrict out,
                                  std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) out[i] = a[i] > b[i] ? a[i] : b[i];
}

/// Maxima of four values each, `step` apart.
AUDIO_WIDE_VECTORS void maximumOfFour(const float* values, std::size_t step, float* __restrict out,
                                      std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    const float* const v = values + i;
    const float low = v[0] > v[step] ? v[0] : v[step];
    const float high = v[2 * step] > v[3 * step] ? v[2 * step] : v[3 * step];
    out[i] = low > high ? low : high;
  }
}

AUDIO_WIDE_VECTORS void raiseTo(const float* __restrict other, float* __restrict out,
                                std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) out[i] = other[i] > out[i] ? other[i] : out[i];
}

/// What lies beyond the matrix can't be a maximum, so a longer half does no more.
std::size_t clampedHalf(std::uint32_t half, std::uint32_t length) noexcept {
  return std::min(half, length > 0 ? length - 1 : 0);
}

}  // namespace

NeighbourhoodMaximum::NeighbourhoodMaximum(const float* matrix, std::uint32_t frames,
                                           std::uint32_t bins, std::uint32_t halfFrames,
                                           std::uint32_t halfBins)
    : matrix_(matrix),
      frames_(frames),
      bins_(bins),
      half_frames_(clampedHalf(halfFrames, frames)),
      half_bins_(clampedHalf(halfBins, bins)),
      window_rows_(2 * half_frames_ + 1),
      block_(window_rows_ * bins_),
      prefix_(bins_),
      maxima_(bins_),
      padded_(bins_ + 2 * half_bins_, kAbsent),
      raised_(padded_.size()),
      spare_(padded_.size()) {
  for (std::size_t row = 0; row < window_rows_; ++row) rowMaxima(next_row_++, blockRow(row));
  startBlock();
}

const float* NeighbourhoodMaximum::next() {
  if (row_in_block_ == window_rows_) {
    rowMaxima(next_row_++, blockRow(window_rows_ - 1));
    startBlock();
  }
  const std::size_t row = row_in_block_++;
  if (row == 0) return blockRow(0);

  // The window reaches `row` rows into the next block. Those rows are kept
  // where suffix maxima are no longer needed.
  float* entering = blockRow(row - 1);
  rowMaxima(next_row_++, entering);
  if (row == 1) {
    std::copy_n(entering, bins_, prefix_.data());
  } else {
    raiseTo(entering, prefix_.data(), bins_);
  }
  maximumOf(blockRow(row), prefix_.data(), maxima_.data(), bins_);
  return maxima_.data();
}

/// Turns the raw rows of a block into the maxima of each row and all below it.
void NeighbourhoodMaximum::startBlock() {
  for (std::size_t row = window_rows_ - 1; row-- > 0;) {
    raiseTo(blockRow(row + 1), blockRow(row), bins_);
  }
  row_in_block_ = 0;
}

/// Maxima over the bin window of one row; rows are counted from half_frames_
/// absent ones above the matrix.
void NeighbourhoodMaximum::rowMaxima(std::size_t paddedRow, float* maxima) {
  if (paddedRow < half_frames_ || paddedRow - half_frames_ >= frames_) {
    std::fill_n(maxima, bins_, kAbsent);
    return;
  }
  const float* row = matrix_ + (paddedRow - half_frames_) * bins_;
  float* bins = padded_.data() + half_bins_;
  // What isn't a number raises nothing.
  std::fill_n(bins, bins_, kAbsent);
  raiseTo(row, bins, bins_);

  // from[i] is the maximum of `covered` bins from i on.
  const std::size_t window = 2 * half_bins_ + 1;
  const float* from = padded_.data();
  std::size_t covered = 1;
  for (; 4 * covered <= window; covered *= 4) {
    maximumOfFour(from, covered, spare_.data(), padded_.size() - 3 * covered);
    raised_.swap(spare_);
    from = raised_.data();
  }
  for (; 2 * covered <= window; covered *= 2) {
    maximumOf(from, from + covered, spare_.data(), padded_.size() - covered);
    raised_.swap(spare_);
    from = raised_.data();
  }
  maximumOf(from, from + (window - covered), maxima, bins_);
}

}  // namespace audio
