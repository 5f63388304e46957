#pragma once

#include <cstdint>
#include <vector>

#include "base/audio_data.h"
#include "feature/feature_extractor.h"
#include "fuzz/burst_sound.h"
#include "fuzz/fuzz_input.h"
#include "jni/pcm16.h"

namespace audiofuzz {

/// Two seconds of low notes, so that the keys of their landmarks are low too.
inline const audio::AudioData& recording() {
  static const audio::AudioDataPtr audio = [] {
    std::vector<std::uint8_t> bursts;
    for (std::uint32_t i = 0; i < 62; ++i) {
      bursts.push_back(static_cast<std::uint8_t>(192 | (i * 2654435761U >> 16) % 8));
    }
    const auto samples = audiofuzz::burstSound(bursts, 1, 16'000, 256);
    return audio::pcm16ToAudioData(samples.data(), {1, 16'000, 8000});
  }();
  return *audio;
}

/// What is looked up when the recording is matched.
inline const std::vector<audio::AudioFeature>& recordingFeatures() {
  static const std::vector<audio::AudioFeature> features = [] {
    audio::FeatureExtractor extractor;
    FUZZ_REQUIRE(extractor.init(false) && extractor.loadAudio(&recording()));
    FUZZ_REQUIRE(extractor.extractFeatures());
    return extractor.getFeatures();
  }();
  return features;
}

/// Their keys, ascending.
inline const std::vector<std::uint32_t>& recordingKeys() {
  static const std::vector<std::uint32_t> keys = [] {
    std::vector<std::uint32_t> of_features;
    for (const audio::AudioFeature& feature : recordingFeatures()) {
      of_features.push_back(feature.hashKey);
    }
    return of_features;
  }();
  return keys;
}

}  // namespace audiofuzz
