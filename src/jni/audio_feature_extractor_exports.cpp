// The natives of the Java class AudioFeatureExtractor.

#include "base/logger.h"
#include "feature/feature_extractor.h"
#include "jni/export.h"
#include "jni/pcm_ingestion.h"
#include "jni/result_array.h"

using namespace audio;
using namespace audio::jni;

/// Switches the process-wide logger.
extern "C" JNIEXPORT void JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioFeatureExtractor_nativeSetNativeVerbose(
    JNIEnv*, jobject, jboolean verbose) {
  gLogger.setEnabled(verbose != JNI_FALSE);
}

/// Fingerprints one recording; null on failure. `length` counts bytes per
/// channel, so an odd one ignores its last.
extern "C" JNIEXPORT jobjectArray JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioFeatureExtractor_nativeExtractAudioFeatures(
    JNIEnv* env, jobject, jbyteArray pcm, jlong channels, jlong length, jlong sampleRate) {
  return guarded<jobjectArray>(nullptr, [&]() -> jobjectArray {
    FeatureExtractor extractor;
    PcmIngestion<jbyteArray> recording;
    if (!recording.takeIn(env, {pcm, channels, framesOfBytes(length), sampleRate},
                          PcmLength::kEnough)) {
      return nullptr;
    }
    if (!extractor.init(false)) {
      logMessage("init feature extractor failed.");
      return nullptr;
    }
    logMessage("init feature extractor success.");
    return extractToJava(env, extractor, recording.audioData());
  });
}
