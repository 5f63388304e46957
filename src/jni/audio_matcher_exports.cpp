// The natives of the Java class AudioMatcher.

#include <memory>
#include <new>
#include <string>

#include "base/logger.h"
#include "jni/export.h"
#include "jni/export_guard.h"
#include "jni/feature_result.h"
#include "jni/handle.h"
#include "jni/java_path.h"
#include "jni/modified_utf8.h"
#include "jni/pcm_ingestion.h"
#include "jni/pinned_array.h"
#include "jni/pinned_pcm.h"
#include "match/audio_matcher.h"

using namespace audio;
using namespace audio::jni;

AUDIO_EXPORT_VERBOSE(AudioMatcher)

/// Creates a matcher on a database file, or without one for a null path;
/// returns its handle, 0 on failure.
AUDIO_EXPORT(jlong, AudioMatcher, nativeInit)(JNIEnv* env, jobject, jstring dbPath) {
  return guarded<jlong>(0, [&]() -> jlong {
    std::unique_ptr<AudioMatcher> matcher(new (std::nothrow) AudioMatcher);
    if (!matcher) {
      logMessage("alloc matcher failed.");
      return 0;
    }
    const JavaPath path(env, dbPath);
    if (dbPath && !path.text()) return 0;
    return matcher->init(path.text()) ? toHandle(matcher.release()) : 0;
  });
}

/// Matches one recording; returns the best match's name, "" on any failure.
/// `length` counts samples per channel. The level goes to element 0 of
/// `discriminationLevel`, on success only.
AUDIO_EXPORT(jstring, AudioMatcher, nativeMatchAudio)
(JNIEnv* env, jobject, jlong handle, jshortArray pcm, jlong channels, jlong length,
 jlong sampleRate, jintArray discriminationLevel) {
  auto* matcher = fromHandle<AudioMatcher>(handle);
  if (!matcher) logMessage("audio matcher is null.");
  // Made first: after a failed pin no string can be made.
  const jstring empty = env->NewStringUTF("");
  if (!matcher || !empty) return empty;

  return guarded<jstring>(empty, [&]() -> jstring {
    const auto shape = pcmShape(channels, length, sampleRate);
    if (!pcm || !discriminationLevel || !shape) return empty;
    if (!arrayHolds(env, pcm, sizeof(jshort), *shape)) return empty;
    const jsize levels = env->GetArrayLength(discriminationLevel);

    std::string name;
    bool matched = false;
    {
      // In this order they are released: both arrays, then the audio.
      AudioDataPtr audio_data;
      PinnedArray<jintArray> level;
      PinnedArray<jshortArray> samples;
      if (!samples.pin(env, pcm)) return empty;
      logMessage("get data success.");
      if (!level.pin(env, discriminationLevel)) return empty;
      logMessage("get discrimination success.");
      audio_data = pcm16ToAudioData(samples.elements(), *shape);
      matched = audio_data && matcher->matchAudio(audio_data.get());
      if (matched) name = toModifiedUtf8(matcher->bestMatchName());
      if (matched && levels > 0) level.elements()[0] = matcher->discriminationLevel();
    }
    return matched ? env->NewStringUTF(name.c_str()) : empty;
  });
}

/// Fingerprints one recording with the matcher's extractor; null on failure.
/// `length` counts samples per channel.
AUDIO_EXPORT(jobjectArray, AudioMatcher, nativeExtractAudioFeatures)
(JNIEnv* env, jobject, jlong handle, jshortArray pcm, jlong channels, jlong length,
 jlong sampleRate) {
  auto* matcher = fromHandle<AudioMatcher>(handle);
  if (!matcher) {
    logMessage("audio matcher is null.");
    return nullptr;
  }
  return guarded<jobjectArray>(nullptr, [&]() -> jobjectArray {
    const auto shape = pcmShape(channels, length, sampleRate);
    if (!pcm || !shape || !arrayHolds(env, pcm, sizeof(jshort), *shape)) return nullptr;

    PinnedPcm<jshortArray> recording;
    if (!recording.takeIn(env, pcm, *shape)) return nullptr;
    return extractToJava(env, *matcher, recording.audioData());
  });
}

/// Destroys a matcher; always 0, which Java stores as its handle.
AUDIO_EXPORT(jlong, AudioMatcher, nativeRelease)(JNIEnv*, jobject, jlong handle) {
  delete fromHandle<AudioMatcher>(handle);
  return 0;
}
