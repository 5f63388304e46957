// The natives of the Java class AudioAttributeExtractor.

#include <cstdint>
#include <memory>

#include "base/logger.h"
#include "jni/export.h"
#include "jni/pcm_ingestion.h"
#include "jni/result_array.h"
#include "stream/stream_attribute_extractor.h"

using namespace audio;
using namespace audio::jni;

/// Switches the process-wide logger.
extern "C" JNIEXPORT void JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioAttributeExtractor_nativeSetNativeVerbose(
    JNIEnv*, jobject, jboolean verbose) {
  gLogger.setEnabled(verbose != JNI_FALSE);
}

/// Creates a stream's extractor; returns its handle, 0 on failure. Durations
/// are whole seconds, `packetLen` counts samples per channel. Of each number
/// the low 32 bits count.
extern "C" JNIEXPORT jlong JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioAttributeExtractor_nativeInit(
    JNIEnv*, jobject, jlong streamId, jlong updateRate, jlong monitorDuration, jlong sampleRate,
    jlong channels, jlong packetLen) {
  return guarded<jlong>(0, [&]() -> jlong {
    std::unique_ptr<StreamExtractor> extractor = makeForHandle<StreamAttributeExtractor>();
    if (!extractor) return 0;
    const auto low32 = [](jlong number) { return static_cast<std::uint32_t>(number); };
    if (!extractor->init(low32(streamId), low32(updateRate), low32(monitorDuration),
                         low32(sampleRate), low32(channels), low32(packetLen))) {
      logMessage("init stream feature extractor failed.");
      return 0;
    }
    return toHandle(extractor.release());
  });
}

/// Feeds one packet; returns the attributes of the analysis that it started,
/// or null. `length` counts samples per channel.
extern "C" JNIEXPORT jobjectArray JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioAttributeExtractor_nativeUpdate(
    JNIEnv* env, jobject, jlong handle, jbyteArray pcm, jlong channels, jlong length,
    jlong sampleRate) {
  auto* extractor = requireObject<StreamExtractor>(handle);
  if (!extractor) return nullptr;
  return guarded<jobjectArray>(nullptr, [&]() -> jobjectArray {
    PcmIngestion<jbyteArray> packet;
    if (!packet.takeIn(env, {pcm, channels, length, sampleRate}, PcmLength::kExact) ||
        !extractor->update(&packet.audioData())) {
      return nullptr;
    }
    return attributeResult(env, extractor->currentAttributes());
  });
}

/// The attributes that the latest update expired, or null.
extern "C" JNIEXPORT jobjectArray JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioAttributeExtractor_nativeGetExpiredAttributes(
    JNIEnv* env, jobject, jlong handle) {
  auto* extractor = requireObject<StreamExtractor>(handle);
  return extractor ? expiredAttributeResult(env, extractor->expiredAttributes()) : nullptr;
}

/// Destroys a stream's extractor; always 0, which Java stores as its handle.
extern "C" JNIEXPORT jlong JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioAttributeExtractor_nativeRelease(JNIEnv*, jobject,
                                                                           jlong handle) {
  delete fromHandle<StreamExtractor>(handle);
  return 0;
}
