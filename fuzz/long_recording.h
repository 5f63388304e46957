#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/audio_data.h"
#include "fuzz/fuzz_input.h"
#include "match/database/database_format.h"

namespace audiofuzz {

/// An 8-bit WAV file that a few bytes describe and that is long enough for
/// several parts: at its low rates a part takes about 420,000 frames.
class LongRecording {
 public:
  /// Input: u16 rate - 800, u32 frames, u8 channels - 1, then the samples.
  explicit LongRecording(FuzzInput& input)
      : rate_(800 + input.u16() % 200U),
        frames_(input.u32() % 1'000'000U),
        channels_(1 + (input.u8() & 1U)),
        samples_(input.rest()) {}

  std::uint32_t rate() const { return rate_; }
  std::uint32_t frames() const { return frames_; }
  std::uint32_t channels() const { return channels_; }

  std::vector<std::uint8_t> file() const {
    const std::uint32_t bytes = frames_ * channels_;
    std::vector<std::uint8_t> wav(kHeader + bytes + bytes % 2);
    const auto put = [&](std::size_t at, auto number) {
      audio::storeLittleEndian(number, wav.data() + at);
    };
    std::memcpy(wav.data(), "RIFF....WAVEfmt ", 16);
    put(4, static_cast<std::uint32_t>(wav.size() - 8));
    put(16, std::uint32_t{16});
    put(20, std::uint16_t{1});  // PCM
    put(22, static_cast<std::uint16_t>(channels_));
    put(24, rate_);
    put(28, rate_ * channels_);
    put(32, static_cast<std::uint16_t>(channels_));
    put(34, std::uint16_t{8});  // bits
    std::memcpy(wav.data() + 36, "data", 4);
    put(40, bytes);
    for (std::uint32_t i = 0; i < bytes; ++i) wav[kHeader + i] = sample(i);
    return wav;
  }

  /// Requires that `part` is what follows the recording's frame `start`.
  void check(const audio::AudioData& part, std::uint64_t start) const {
    const std::uint32_t step = part.dataLen() / 1000 + 1;
    for (std::uint32_t i = 0; i < part.dataLen(); i += step) {
      for (std::uint32_t ch = 0; ch < channels_; ++ch) {
        const int value = (sample((start + i) * channels_ + ch) - 128) * 256;
        FUZZ_REQUIRE(part.channelData(ch)[i] == static_cast<float>(value) * (1.0f / 32767.0f));
      }
    }
  }

 private:
  static constexpr std::size_t kHeader = 44;

  std::uint8_t sample(std::uint64_t i) const {
    return samples_.empty() ? std::uint8_t{128} : samples_[i % samples_.size()];
  }

  std::uint32_t rate_, frames_, channels_;
  std::span<const std::uint8_t> samples_;
};

}  // namespace audiofuzz
