#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace audio {

/// The maximum over a rectangular window around every cell of a frame-major
/// matrix, delivered row by row.
///
/// The maximum of a rectangle is separable: first over bins within a row,
/// then over rows. Over bins the window is covered by powers of four and two; over rows
/// two running maxima per block of window length suffice (M. van Herk, "A fast
/// algorithm for local minimum and maximum filters on rectangular and
/// octagonal kernels", 1992). The cost per cell doesn't grow with the window,
/// and only one block of rows is held. Cells that aren't a number count as
/// absent, as do those outside the matrix.
class NeighbourhoodMaximum {
 public:
  /// @param matrix      frames × bins values, kept alive by the caller
  /// @param halfFrames  rows on either side of a cell
  /// @param halfBins    bins on either side of a cell
  NeighbourhoodMaximum(const float* matrix, std::uint32_t frames, std::uint32_t bins,
                       std::uint32_t halfFrames, std::uint32_t halfBins);

  /// The `bins` maxima of the next row, the cell itself included; valid until
  /// the next call, which may be made once per row.
  const float* next();

 private:
  float* blockRow(std::size_t row) noexcept { return block_.data() + row * bins_; }
  void rowMaxima(std::size_t paddedRow, float* maxima);
  void startBlock();

  const float* matrix_;
  std::size_t frames_;
  std::size_t bins_;
  std::size_t half_frames_;
  std::size_t half_bins_;
  std::size_t window_rows_;
  std::size_t next_row_ = 0;      // padded row that enters next
  std::size_t row_in_block_ = 0;  // of the row delivered next
  std::vector<float> block_;   // window_rows_ rows: suffix maxima, then raw rows of the next block
  std::vector<float> prefix_;  // maximum of the raw rows so far
  std::vector<float> maxima_;  // the row delivered
  std::vector<float> padded_;  // one row with half_bins_ absent bins at either end
  std::vector<float> raised_;  // its maxima while their window grows
  std::vector<float> spare_;   // takes the next ones
};

}  // namespace audio
