// The natives of the Java class AudioFeatureExtractor.

#include "base/logger.h"
#include "feature/feature_extractor.h"
#include "jni/export.h"
#include "jni/export_guard.h"
#include "jni/feature_result.h"
#include "jni/pcm_ingestion.h"
#include "jni/pinned_array.h"

namespace {

using namespace audio;
using namespace audio::jni;

jobjectArray extractToJava(JNIEnv* env, FeatureExtractor& extractor, const AudioData& audio) {
  if (!extractor.init(false)) {
    logMessage("init feature extractor failed.");
    return nullptr;
  }
  logMessage("init feature extractor success.");
  if (!extractor.loadAudio(&audio)) {
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

}  // namespace

AUDIO_EXPORT_VERBOSE(AudioFeatureExtractor)

/// Fingerprints one recording; null on failure. `length` counts bytes per
/// channel, so an odd one ignores its last.
AUDIO_EXPORT(jobjectArray, AudioFeatureExtractor, nativeExtractAudioFeatures)
(JNIEnv* env, jobject, jbyteArray pcm, jlong channels, jlong length, jlong sampleRate) {
  return guarded<jobjectArray>(nullptr, [&]() -> jobjectArray {
    auto shape = pcmShape(channels, length, sampleRate);
    if (!pcm || !shape) return nullptr;
    shape->frames /= 2;
    if (!arrayHolds(env, pcm, sizeof(jbyte), *shape)) return nullptr;

    FeatureExtractor extractor;
    AudioDataPtr audio;
    PinnedArray<jbyteArray> samples;
    if (!samples.pin(env, pcm)) return nullptr;
    audio = pcm16ToAudioData(samples.elements(), *shape);
    if (!audio) return nullptr;
    return extractToJava(env, extractor, *audio);
  });
}
