#pragma once

#include <jni.h>

// The natives of the four Java classes, found as Java finds them, by their
// names; here each also has a short one in a namespace for its class.
#define AUDIO_NATIVE(Result, Class, method, name, ...)                                        \
  extern "C" Result Java_com_vexa_norvu_kestr_audiomatch_##Class##_##method(JNIEnv*, jobject, \
                                                                            __VA_ARGS__);     \
  inline auto& name = Java_com_vexa_norvu_kestr_audiomatch_##Class##_##method

namespace feature_extractor {
AUDIO_NATIVE(void, AudioFeatureExtractor, nativeSetNativeVerbose, verbose, jboolean);
AUDIO_NATIVE(jobjectArray, AudioFeatureExtractor, nativeExtractAudioFeatures, extract,
             jbyteArray pcm, jlong channels, jlong length, jlong sampleRate);
}  // namespace feature_extractor

namespace matcher {
AUDIO_NATIVE(void, AudioMatcher, nativeSetNativeVerbose, verbose, jboolean);
AUDIO_NATIVE(jlong, AudioMatcher, nativeInit, init, jstring dbPath);
AUDIO_NATIVE(jstring, AudioMatcher, nativeMatchAudio, match, jlong handle, jshortArray pcm,
             jlong channels, jlong length, jlong sampleRate, jintArray discriminationLevel);
AUDIO_NATIVE(jobjectArray, AudioMatcher, nativeExtractAudioFeatures, extract, jlong handle,
             jshortArray pcm, jlong channels, jlong length, jlong sampleRate);
AUDIO_NATIVE(jlong, AudioMatcher, nativeRelease, release, jlong handle);
}  // namespace matcher

namespace attribute_extractor {
AUDIO_NATIVE(void, AudioAttributeExtractor, nativeSetNativeVerbose, verbose, jboolean);
AUDIO_NATIVE(jlong, AudioAttributeExtractor, nativeInit, init, jlong streamId, jlong updateRate,
             jlong monitorDuration, jlong sampleRate, jlong channels, jlong packetLen);
AUDIO_NATIVE(jobjectArray, AudioAttributeExtractor, nativeUpdate, update, jlong handle,
             jbyteArray pcm, jlong channels, jlong length, jlong sampleRate);
AUDIO_NATIVE(jobjectArray, AudioAttributeExtractor, nativeGetExpiredAttributes, expired,
             jlong handle);
AUDIO_NATIVE(jlong, AudioAttributeExtractor, nativeRelease, release, jlong handle);
}  // namespace attribute_extractor

namespace match_server {
AUDIO_NATIVE(void, AudioMatchServer, nativeSetNativeVerbose, verbose, jboolean);
AUDIO_NATIVE(jlong, AudioMatchServer, nativeMatchAudioByFeaturesAndAttributes, match,
             jobjectArray features, jobjectArray attributes, jfloatArray discrimination);
}  // namespace match_server

#undef AUDIO_NATIVE
