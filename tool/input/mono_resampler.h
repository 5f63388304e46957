#pragma once

#include "tool/input/sound_source.h"

struct soxr;

namespace audiomatch {

/// A sound brought to what the engine analyses, mono at 8000 Hz, by libsoxr: in
/// one go, for a tenth of what the engine's own resampler takes in each pass,
/// and at any rate. Channels are mixed as the engine does it, by their mean,
/// and samples rounded to 16 bits without dither.
///
/// Frame n is the one of time n / 8000, and the length is the engine's for this
/// rate, rounding half up; only of no frames there come none.
class MonoResampler : public SoundSource {
 public:
  /// Throws std::bad_alloc.
  explicit MonoResampler(std::unique_ptr<SoundSource> source);

  std::uint32_t sampleRate() const noexcept override;
  std::uint32_t channels() const noexcept override { return 1; }
  std::uint64_t promisedFrames() const noexcept override {
    return resampled(source_->promisedFrames());
  }
  std::uint64_t position() const noexcept override { return position_; }
  std::size_t read(std::vector<std::int16_t>& samples, std::size_t frames) override;
  const std::optional<Damage>& damage() const noexcept override { return source_->damage(); }

 private:
  struct Delete {
    void operator()(soxr* handle) const noexcept;
  };

  std::uint64_t resampled(std::uint64_t frames) const noexcept;
  void refill(std::size_t frames);
  void mix();
  void resample(const float* mono, std::size_t frames);

  std::unique_ptr<SoundSource> source_;
  std::unique_ptr<soxr, Delete> handle_;
  std::vector<std::int16_t> block_;  // of the source
  std::vector<float> mono_;          // its mix, in units of a 16-bit step
  std::vector<float> ready_;         // resampled
  std::size_t taken_ = 0;            // of those, read already
  std::uint64_t position_ = 0;
  bool ended_ = false;
};

}  // namespace audiomatch
