#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace audiomatch {

/// The spectrogram of a recording of any length in the memory of a picture.
///
/// Frames come one by one and become columns; whenever there are as many as
/// the picture has room for, each pair of them becomes one. A column so is the
/// mean power of one, two, four, ... frames, and how many landmarks have their
/// anchors there.
class SpectrogramColumns {
 public:
  /// @param bins  of every frame
  /// @param most  columns, even
  SpectrogramColumns(std::size_t bins, std::size_t most) : bins_(bins), most_(most) {}

  /// Adds a frame; an empty one is silence. Throws std::bad_alloc.
  void addFrame(std::span<const std::complex<float>> spectrum);

  /// Counts a landmark whose anchor lies in a frame that was added.
  void addLandmark(std::uint64_t anchor) { ++landmarks_[anchor / frames_per_column_]; }

  std::uint64_t frames() const noexcept { return frames_; }
  std::size_t bins() const noexcept { return bins_; }
  std::size_t columns() const noexcept { return landmarks_.size(); }
  /// Frames of every column but the last, which may have fewer.
  std::uint64_t framesPerColumn() const noexcept { return frames_per_column_; }

  /// The mean power of a column in a bin.
  double power(std::size_t column, std::size_t bin) const noexcept {
    return power_[column * bins_ + bin] / static_cast<double>(framesOf(column));
  }
  /// Landmarks anchored in a column.
  std::uint32_t landmarks(std::size_t column) const noexcept { return landmarks_[column]; }

 private:
  std::uint64_t framesOf(std::size_t column) const noexcept;
  void halve();

  std::size_t bins_;
  std::size_t most_;
  std::uint64_t frames_ = 0;
  std::uint64_t frames_per_column_ = 1;
  std::vector<float> power_;  // sums, column by column
  std::vector<std::uint32_t> landmarks_;
};

}  // namespace audiomatch
