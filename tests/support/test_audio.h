#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "jni/pcm16.h"
#include "reference/plain_engine.h"

namespace testing_support {

/// Interleaved PCM made from a seed: chords that change every quarter of a
/// second, a sweep, noise and clicks, somewhat different in every channel.
inline std::vector<std::int16_t> music(std::uint32_t seed, std::uint32_t channels,
                                       std::uint32_t frames, std::uint32_t rate) {
  std::mt19937 random(seed);
  std::vector<std::int16_t> pcm(std::size_t{channels} * frames);
  double pitch[3] = {};
  for (std::uint32_t f = 0; f < frames; ++f) {
    if (f % (rate / 4 + 1) == 0) {
      for (double& p : pitch) p = 100.0 + static_cast<int>(random() % 3400);
    }
    const double t = static_cast<double>(f) / rate;
    double value = 4000.0 * std::sin(6.2831853 * (200.0 + 150.0 * t) * t);
    for (const double p : pitch) value += 5000.0 * std::sin(6.2831853 * p * t);
    for (std::uint32_t ch = 0; ch < channels; ++ch) {
      const double noise = static_cast<int>(random() % 2001) - 1000.0;
      pcm[std::size_t{f} * channels + ch] =
          static_cast<std::int16_t>(value * (1.0 - 0.1 * ch) + noise);
    }
  }
  return pcm;
}

/// The same recording for the engine and for the plain reference.
struct Recording {
  std::vector<std::int16_t> pcm;
  audio::PcmShape shape;

  Recording(std::uint32_t seed, std::uint32_t channels, std::uint32_t frames, std::uint32_t rate)
      : pcm(music(seed, channels, frames, rate)), shape{channels, frames, rate} {}

  audio::AudioDataPtr engine() const { return audio::pcm16ToAudioData(pcm.data(), shape); }
  plain::Audio reference(plain::Log& log) const {
    return plain::fromPcm(pcm.data(), shape.channels, shape.frames, shape.sample_rate, log);
  }
};

/// Engine records as the reference's, to compare whole lists at once.
template <typename Plain, typename Engine>
std::vector<Plain> asPlain(const std::vector<Engine>& records) {
  std::vector<Plain> out;
  for (const auto& [first, second] : records) out.push_back({first, second});
  return out;
}

}  // namespace testing_support
