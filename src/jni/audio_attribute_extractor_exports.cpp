// The natives of the Java class AudioAttributeExtractor.

#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "base/logger.h"
#include "jni/export.h"
#include "jni/export_guard.h"
#include "jni/handle.h"
#include "jni/object_conversion.h"
#include "jni/pcm_ingestion.h"
#include "jni/pinned_pcm.h"
#include "stream/stream_attribute_extractor.h"

namespace {

using namespace audio;
using namespace audio::jni;

/// True when `arrayLength` is 2 × frames × channels in 64 bits.
bool isWholePacket(jsize arrayLength, jlong frames, jlong channels) noexcept {
  std::int64_t bytes = 0;
  if (__builtin_mul_overflow(std::int64_t{2}, std::int64_t{frames}, &bytes)) return false;
  if (__builtin_mul_overflow(bytes, std::int64_t{channels}, &bytes)) return false;
  return bytes == arrayLength;
}

/// Attributes as an array, or null when there are none.
jobjectArray attributeResult(JNIEnv* env, const std::vector<AudioAttribute>& attributes,
                             const char* success, const char* failure) noexcept {
  if (attributes.empty()) return nullptr;
  jobjectArray array = nullptr;
  logMessage("%s", attributesToJava(env, attributes, array) ? success : failure);
  return array;
}

}  // namespace

AUDIO_EXPORT_VERBOSE(AudioAttributeExtractor)

/// Creates a stream's extractor; returns its handle, 0 on failure. Durations
/// are whole seconds, `packetLen` counts samples per channel. Of each number
/// the low 32 bits count.
AUDIO_EXPORT(jlong, AudioAttributeExtractor, nativeInit)
(JNIEnv*, jobject, jlong streamId, jlong updateRate, jlong monitorDuration, jlong sampleRate,
 jlong channels, jlong packetLen) {
  return guarded<jlong>(0, [&]() -> jlong {
    std::unique_ptr<StreamExtractor> extractor(new (std::nothrow) StreamAttributeExtractor);
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
AUDIO_EXPORT(jobjectArray, AudioAttributeExtractor, nativeUpdate)
(JNIEnv* env, jobject, jlong handle, jbyteArray pcm, jlong channels, jlong length,
 jlong sampleRate) {
  auto* extractor = fromHandle<StreamExtractor>(handle);
  if (!extractor) {
    logMessage("audio matcher is null.");
    return nullptr;
  }
  return guarded<jobjectArray>(nullptr, [&]() -> jobjectArray {
    if (!pcm) return nullptr;
    const jsize array_length = env->GetArrayLength(pcm);
    if (!isWholePacket(array_length, length, channels)) {
      logMessage("bad data lenght : %d.", static_cast<int>(array_length));
      return nullptr;
    }
    const auto shape = pcmShape(channels, length, sampleRate);
    if (!shape) return nullptr;

    PinnedPcm<jbyteArray> packet;
    if (!packet.takeIn(env, pcm, *shape) || !extractor->update(&packet.audioData())) return nullptr;
    return attributeResult(env, extractor->currentAttributes(),
                           "convert audio features to obj array success.",
                           "convert audio features to obj array failed.");
  });
}

/// The attributes that the latest update expired, or null.
AUDIO_EXPORT(jobjectArray, AudioAttributeExtractor, nativeGetExpiredAttributes)
(JNIEnv* env, jobject, jlong handle) {
  auto* extractor = fromHandle<StreamExtractor>(handle);
  if (!extractor) {
    logMessage("audio matcher is null.");
    return nullptr;
  }
  return attributeResult(env, extractor->expiredAttributes(),
                         "convert expired audio features to obj array success.",
                         "convert expired audio features to obj array failed.");
}

/// Destroys a stream's extractor; always 0, which Java stores as its handle.
AUDIO_EXPORT(jlong, AudioAttributeExtractor, nativeRelease)(JNIEnv*, jobject, jlong handle) {
  delete fromHandle<StreamExtractor>(handle);
  return 0;
}
