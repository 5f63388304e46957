#pragma once

#include <cstdint>
#include <vector>

namespace audio {

/// A window: one coefficient per sample of a frame, none when new.
class WindowFunction {
 public:
  virtual ~WindowFunction() = default;

  /// Fills the coefficients of a window of `size` samples. A size of 0 is
  /// refused with a message and changes nothing.
  virtual void generate(std::uint32_t size) = 0;

  std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(coefficients_.size()); }
  /// The coefficients, or null when there are none.
  const float* data() const noexcept {
    return coefficients_.empty() ? nullptr : coefficients_.data();
  }

 protected:
  std::vector<float> coefficients_;
};

/// The symmetric Hann window 0.5 (1 - cos(2πi / (n - 1))): its first and last
/// coefficients are 0.
class HannWindow : public WindowFunction {
 public:
  void generate(std::uint32_t size) override;
};

}  // namespace audio
