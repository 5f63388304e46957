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
/// exists and is filled as far as it went. Fails when a call of JNI does, with a
/// message unless it was the storing of an element.
bool featuresToJava(JNIEnv* env, const std::vector<AudioFeature>& features,
                    jobjectArray& array) noexcept;

/// The same for `AudioAttribute`.
bool attributesToJava(JNIEnv* env, const std::vector<AudioAttribute>& attributes,
                      jobjectArray& array) noexcept;

/// Reads a non-null array of `AudioFeature`. An empty array is refused with a
/// message; a null element ends the reading with false, without one, and leaves
/// zeros from there on. Fails, with a message, when class or fields aren't found.
bool featuresFromJava(JNIEnv* env, jobjectArray array, std::vector<AudioFeature>& features);

/// The same for `AudioAttribute`.
bool attributesFromJava(JNIEnv* env, jobjectArray array, std::vector<AudioAttribute>& attributes);

}  // namespace audio::jni
