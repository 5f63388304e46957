#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <span>
#include <vector>

namespace audiofuzz {

/// Interleaved 16-bit samples of tone bursts: a byte becomes one burst of
/// `burstLen` samples per channel, with the pitch in its low six bits and the
/// loudness (silent to full) in the others. So a second of sound with
/// landmarks takes 31 bytes of input, where plain samples would take 16,000.
/// Channels play the bytes one burst apart.
///
/// @param frames  samples per channel; the bytes are repeated to fill them
inline std::vector<std::int16_t> burstSound(std::span<const std::uint8_t> bytes,
                                            std::size_t channels, std::size_t frames,
                                            std::size_t burstLen) {
  constexpr std::size_t kPeriod = 512;
  constexpr double kLoudness[] = {0.0, 300.0, 4000.0, 32'767.0};
  static const std::vector<double> sine = [] {
    std::vector<double> table(kPeriod);
    for (std::size_t i = 0; i < kPeriod; ++i) {
      table[i] = std::sin(2.0 * std::numbers::pi * static_cast<double>(i) / kPeriod);
    }
    return table;
  }();
  std::vector<std::int16_t> samples(channels * frames);
  if (bytes.empty()) return samples;
  for (std::size_t frame = 0; frame < frames; ++frame) {
    for (std::size_t ch = 0; ch < channels; ++ch) {
      const std::uint8_t byte = bytes[(frame / burstLen + ch) % bytes.size()];
      const std::size_t bin = 2 + 4 * (byte & 63U);
      samples[frame * channels + ch] =
          static_cast<std::int16_t>(kLoudness[byte >> 6] * sine[frame * bin % kPeriod]);
    }
  }
  return samples;
}

}  // namespace audiofuzz
