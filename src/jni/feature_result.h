#pragma once

#include <jni.h>

#include <vector>

#include "feature/audio_feature.h"

namespace audio::jni {

/// The features of an extraction as the array that an export returns.
///
/// Null with "features number is 0." for none. Logs "extract audio data
/// features success.", then "convert audio features to obj array success." or
/// "... failed."; after a failure the array is as far filled as it went, or
/// null.
jobjectArray featureResult(JNIEnv* env, const std::vector<AudioFeature>& features) noexcept;

}  // namespace audio::jni
