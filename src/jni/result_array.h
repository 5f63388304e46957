#pragma once

#include <jni.h>

#include <vector>

#include "base/audio_data.h"
#include "base/logger.h"
#include "feature/audio_feature.h"
#include "match/audio_attribute.h"

namespace audio::jni {

// Lists as the arrays that exports return, with the messages on the way. After
// a failed conversion an array is as far filled as it went, or null.

/// The features of an extraction; null, with a message, for none.
jobjectArray featureResult(JNIEnv* env, const std::vector<AudioFeature>& features) noexcept;

/// The attributes of an update; null, without one, for none.
jobjectArray attributeResult(JNIEnv* env, const std::vector<AudioAttribute>& attributes) noexcept;

/// The attributes that an update expired, likewise.
jobjectArray expiredAttributeResult(JNIEnv* env,
                                    const std::vector<AudioAttribute>& attributes) noexcept;

/// Takes one recording through an initialised extractor, the engine's or a
/// matcher's, and returns its features. Null, with a message, when a step
/// fails.
template <typename Extractor>
jobjectArray extractToJava(JNIEnv* env, Extractor& extractor, const AudioData& audioData) {
  if (!extractor.loadAudio(&audioData)) {
    logMessage("load audio data failed.");
    return nullptr;
  }
  logMessage("load audio data success.");
  if (!extractor.extractFeatures()) {
    logMessage("extract features failed.");
    return nullptr;
  }
  return featureResult(env, extractor.getFeatures());
}

}  // namespace audio::jni
