#pragma once

#include <jni.h>

#include <vector>

#include "base/audio_data.h"
#include "base/logger.h"
#include "feature/audio_feature.h"

namespace audio::jni {

/// The features of an extraction as the array that an export returns.
///
/// Null with "features number is 0." for none. Logs "extract audio data
/// features success.", then "convert audio features to obj array success." or
/// "... failed."; after a failure the array is as far filled as it went, or
/// null.
jobjectArray featureResult(JNIEnv* env, const std::vector<AudioFeature>& features) noexcept;

/// Takes one recording through an initialised extractor, the engine's or a
/// matcher's, and returns its features (see featureResult). Null with "load
/// audio data failed." or "extract features failed.".
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
