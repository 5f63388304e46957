#pragma once

#include <jni.h>

#include <vector>

#include "feature/audio_feature.h"
#include "match/audio_attribute.h"

namespace audio::jni {

// Lists of the engine to arrays of Java objects and back. Each Java class has
// two `long` fields; objects are made without a constructor. 32-bit fields are
// widened without sign and narrowed to their low bits. A Java exception that
// a failed call left is not cleared: it reaches the caller of the export.

/// Makes an array of `AudioFeature`. `array` is set as soon as the array
/// exists and is filled as far as it went. Failures: "can not find class
/// AudioFeature.", "can not get AudioFeature field.", "create AudioFeature
/// array failed.", "alloc audio feature failed.".
bool featuresToJava(JNIEnv* env, const std::vector<AudioFeature>& features,
                    jobjectArray& array) noexcept;

/// The same for `AudioAttribute`, with its name in the messages.
bool attributesToJava(JNIEnv* env, const std::vector<AudioAttribute>& attributes,
                      jobjectArray& array) noexcept;

/// Reads a non-null array of `AudioFeature`. An empty array is refused with
/// "features number is zero."; a null element ends the reading with false and
/// leaves zeros from there on. Other failures as for `featuresToJava`.
bool featuresFromJava(JNIEnv* env, jobjectArray array, std::vector<AudioFeature>& features);

/// The same for `AudioAttribute`: "attributes array number is zero.", "can not
/// find class AudioAttribute.", "can not get AudioFeature field.".
bool attributesFromJava(JNIEnv* env, jobjectArray array, std::vector<AudioAttribute>& attributes);

}  // namespace audio::jni
