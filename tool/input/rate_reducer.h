#pragma once

#include "tool/input/sound_source.h"

namespace audiomatch {

/// The highest rate, in Hz, that is brought down to what the engine takes.
inline constexpr std::uint32_t kHighestReducibleRate = 768'000;

/// The rate to which a higher one is reduced: an integer fraction of it where
/// there is one, so that times stay exact, else 48,000 Hz.
std::uint32_t reducedRate(std::uint32_t rate) noexcept;

/// A source at a rate that the engine takes, made of one at a higher rate by
/// the resampling library that the engine goes the rest of the way with. Frame
/// n is the one of time n / sampleRate().
class RateReducer : public SoundSource {
 public:
  /// Throws std::bad_alloc.
  explicit RateReducer(std::unique_ptr<SoundSource> source);

  std::uint32_t sampleRate() const noexcept override { return rate_; }
  std::uint32_t channels() const noexcept override { return source_->channels(); }
  std::uint64_t promisedFrames() const noexcept override {
    return reduced(source_->promisedFrames());
  }
  std::uint64_t position() const noexcept override { return position_; }
  std::size_t read(std::vector<std::int16_t>& samples, std::size_t frames) override;
  const std::optional<Damage>& damage() const noexcept override { return source_->damage(); }

 private:
  struct Close {
    void operator()(void* handle) const noexcept;
  };

  std::uint64_t reduced(std::uint64_t frames) const noexcept;
  void refill(std::size_t frames);
  void reduceChannel(std::size_t channel, bool last);

  std::unique_ptr<SoundSource> source_;
  std::uint32_t rate_;
  double factor_;
  std::vector<std::unique_ptr<void, Close>> handles_;  // one of each channel
  std::vector<std::int16_t> block_;                    // of the source
  std::vector<std::vector<float>> ready_;              // of each channel, not yet read
  std::uint64_t position_ = 0;
  bool ended_ = false;
};

}  // namespace audiomatch
