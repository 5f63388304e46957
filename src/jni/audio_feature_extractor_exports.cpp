// The natives of the Java class AudioFeatureExtractor.

#include "base/logger.h"
#include "feature/feature_extractor.h"
#include "jni/export.h"
#include "jni/export_guard.h"
#include "jni/feature_result.h"
#include "jni/pcm_ingestion.h"
#include "jni/pinned_pcm.h"

using namespace audio;
using namespace audio::jni;

AUDIO_EXPORT_VERBOSE(AudioFeatureExtractor)

/// Fingerprints one recording; null on failure. `length` counts bytes per
/// channel, so an odd one ignores its last.
AUDIO_EXPORT(jobjectArray, AudioFeatureExtractor, nativeExtractAudioFeatures)
(JNIEnv* env, jobject, jbyteArray pcm, jlong channels, jlong length, jlong sampleRate) {
  return guarded<jobjectArray>(nullptr, [&]() -> jobjectArray {
    if (!pcm || !fits32(length)) return nullptr;
    const auto shape = pcmShape(channels, length / 2, sampleRate);
    if (!shape || !arrayHolds(env, pcm, sizeof(jbyte), *shape)) return nullptr;

    FeatureExtractor extractor;
    PinnedPcm<jbyteArray> recording;
    if (!recording.takeIn(env, pcm, *shape)) return nullptr;
    if (!extractor.init(false)) {
      logMessage("init feature extractor failed.");
      return nullptr;
    }
    logMessage("init feature extractor success.");
    return extractToJava(env, extractor, recording.audioData());
  });
}
