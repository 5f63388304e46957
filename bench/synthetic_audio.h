#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "jni/pcm16.h"

namespace bench {

/// Chords that change four times a second over noise, from a seed.
inline audio::AudioDataPtr syntheticMusic(std::uint32_t seed, std::uint32_t seconds,
                                          std::uint32_t channels, std::uint32_t rate) {
  std::mt19937 random(seed);
  const auto below = [&](int limit) {
    return static_cast<int>(random() % static_cast<std::uint32_t>(limit));
  };
  std::vector<std::int16_t> pcm(std::size_t{seconds} * rate * channels);
  double pitch[4] = {};
  for (std::size_t i = 0; i < pcm.size(); ++i) {
    const std::size_t frame = i / channels;
    if (i % channels == 0 && frame % (rate / 4) == 0) {
      for (double& p : pitch) p = 80.0 + below(3600);
    }
    double value = below(2001) - 1000;
    for (const double p : pitch) {
      value += 4000.0 * std::sin(6.2831853 * p * static_cast<double>(frame) / rate);
    }
    pcm[i] = static_cast<std::int16_t>(value);
  }
  return audio::pcm16ToAudioData(pcm.data(), {channels, seconds * rate, rate});
}

}  // namespace bench
