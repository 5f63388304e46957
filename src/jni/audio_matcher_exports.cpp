// The natives of the Java class AudioMatcher.

#include <memory>
#include <string>

#include "base/logger.h"
#include "jni/export.h"
#include "jni/java_string.h"
#include "jni/pcm_ingestion.h"
#include "jni/pinned_array.h"
#include "jni/result_array.h"
#include "match/audio_matcher.h"

using namespace audio;
using namespace audio::jni;

namespace {

/// Matches one recording and, if that succeeds, sets `name` to the best match's
/// and the first element of `levels` to its level.
bool matchJavaPcm(JNIEnv* env, AudioMatcher& matcher, const JavaPcm<jshortArray>& pcm,
                  jintArray levels, std::string& name) {
  const jsize level_count = env->GetArrayLength(levels);
  // Released in this order: the samples, then the level.
  PinnedArray<jintArray> level;
  PcmIngestion<jshortArray> recording;
  const auto pin_level = [&] {
    logMessage("get data success.");
    if (!level.pin(env, levels)) return false;
    logMessage("get discrimination success.");
    return true;
  };
  if (!recording.takeIn(env, pcm, PcmLength::kEnough, pin_level)) return false;
  if (!matcher.matchAudio(&recording.audioData())) return false;
  name = toModifiedUtf8(matcher.bestMatchName());
  if (level_count > 0) level.elements()[0] = matcher.discriminationLevel();
  return true;
}

}  // namespace

/// Switches the process-wide logger.
extern "C" JNIEXPORT void JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioMatcher_nativeSetNativeVerbose(JNIEnv*, jobject,
                                                                         jboolean verbose) {
  gLogger.setEnabled(verbose != JNI_FALSE);
}

/// Creates a matcher on a database file, or without one for a null path;
/// returns its handle, 0 on failure.
extern "C" JNIEXPORT jlong JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioMatcher_nativeInit(JNIEnv* env, jobject, jstring dbPath) {
  return guarded<jlong>(0, [&]() -> jlong {
    std::unique_ptr<AudioMatcher> matcher = makeForHandle<AudioMatcher>();
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
extern "C" JNIEXPORT jstring JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioMatcher_nativeMatchAudio(JNIEnv* env, jobject,
                                                                   jlong handle, jshortArray pcm,
                                                                   jlong channels, jlong length,
                                                                   jlong sampleRate,
                                                                   jintArray discriminationLevel) {
  auto* matcher = requireObject<AudioMatcher>(handle);
  // Made first: after a failed pin no string can be made.
  const jstring empty = env->NewStringUTF("");
  if (!matcher || !empty || !discriminationLevel) return empty;
  return guarded<jstring>(empty, [&]() -> jstring {
    std::string name;
    const JavaPcm<jshortArray> recording{pcm, channels, length, sampleRate};
    if (!matchJavaPcm(env, *matcher, recording, discriminationLevel, name)) return empty;
    env->DeleteLocalRef(empty);
    return env->NewStringUTF(name.c_str());
  });
}

/// Fingerprints one recording with the matcher's extractor; null on failure.
/// `length` counts samples per channel.
extern "C" JNIEXPORT jobjectArray JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioMatcher_nativeExtractAudioFeatures(
    JNIEnv* env, jobject, jlong handle, jshortArray pcm, jlong channels, jlong length,
    jlong sampleRate) {
  auto* matcher = requireObject<AudioMatcher>(handle);
  if (!matcher) return nullptr;
  return guarded<jobjectArray>(nullptr, [&]() -> jobjectArray {
    PcmIngestion<jshortArray> recording;
    if (!recording.takeIn(env, {pcm, channels, length, sampleRate}, PcmLength::kEnough)) {
      return nullptr;
    }
    return extractToJava(env, *matcher, recording.audioData());
  });
}

/// Destroys a matcher; always 0, which Java stores as its handle.
extern "C" JNIEXPORT jlong JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioMatcher_nativeRelease(JNIEnv*, jobject, jlong handle) {
  delete fromHandle<AudioMatcher>(handle);
  return 0;
}
