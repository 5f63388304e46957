#include "tool/picture/spectrogram_columns.h"

#include <algorithm>

namespace audiomatch {

void SpectrogramColumns::addFrame(std::span<const std::complex<float>> spectrum) {
  if (frames_ == most_ * frames_per_column_) halve();
  if (frames_ % frames_per_column_ == 0) {
    power_.resize(power_.size() + bins_);
    landmarks_.push_back(0);
  }
  ++frames_;
  float* const column = power_.data() + power_.size() - bins_;
  for (std::size_t bin = 0; bin < spectrum.size(); ++bin) column[bin] += std::norm(spectrum[bin]);
}

std::uint64_t SpectrogramColumns::framesOf(std::size_t column) const noexcept {
  return std::min(frames_per_column_, frames_ - column * frames_per_column_);
}

void SpectrogramColumns::halve() {
  const std::size_t half = columns() / 2;
  for (std::size_t column = 0; column < half; ++column) {
    for (std::size_t bin = 0; bin < bins_; ++bin) {
      power_[column * bins_ + bin] =
          power_[2 * column * bins_ + bin] + power_[(2 * column + 1) * bins_ + bin];
    }
    landmarks_[column] = landmarks_[2 * column] + landmarks_[2 * column + 1];
  }
  power_.resize(half * bins_);
  landmarks_.resize(half);
  frames_per_column_ *= 2;
}

}  // namespace audiomatch
