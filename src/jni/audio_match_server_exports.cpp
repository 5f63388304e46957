// The natives of the Java class AudioMatchServer.

#include <vector>

#include "base/logger.h"
#include "jni/export.h"
#include "jni/object_conversion.h"
#include "jni/pinned_array.h"
#include "match/audio_matcher.h"

namespace {

using namespace audio;
using namespace audio::jni;

bool readLists(JNIEnv* env, jobjectArray javaFeatures, jobjectArray javaAttributes,
               std::vector<AudioFeature>& features, std::vector<AudioAttribute>& attributes) {
  if (!featuresFromJava(env, javaFeatures, features)) {
    logMessage("cvt obj array to features failed.");
    return false;
  }
  logMessage("cvt obj array to features success.");
  if (!attributesFromJava(env, javaAttributes, attributes)) {
    logMessage("cvt obj array to attributes failed.");
    return false;
  }
  logMessage("cvt obj array to attributes success.");
  return true;
}

}  // namespace

/// Switches the process-wide logger.
extern "C" JNIEXPORT void JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioMatchServer_nativeSetNativeVerbose(JNIEnv*, jobject,
                                                                             jboolean verbose) {
  gLogger.setEnabled(verbose != JNI_FALSE);
}

/// Scores features with the entries found for them; returns the best audio
/// index, -1 on failure. The discrimination goes to element 0 of
/// `discrimination`, which may be null.
extern "C" JNIEXPORT jlong JNICALL
Java_com_vexa_norvu_kestr_audiomatch_AudioMatchServer_nativeMatchAudioByFeaturesAndAttributes(
    JNIEnv* env, jobject, jobjectArray features, jobjectArray attributes,
    jfloatArray discrimination) {
  return guarded<jlong>(-1, [&]() -> jlong {
    if (!features || !attributes) return -1;
    AudioMatcher matcher;
    std::vector<AudioFeature> feature_list;
    std::vector<AudioAttribute> attribute_list;
    PinnedArray<jfloatArray> pinned;
    float* element = nullptr;
    if (discrimination) {
      const jsize length = env->GetArrayLength(discrimination);
      if (!pinned.pin(env, discrimination)) {
        logMessage("get discrimination ptr failed.");
        return -1;
      }
      if (length > 0) element = pinned.elements();
    }
    if (!readLists(env, features, attributes, feature_list, attribute_list)) return -1;
    if (!matcher.matchAudioByFeaturesAndAttributes(feature_list, attribute_list, element)) {
      logMessage("matching audio by features and attributes failed.");
      return -1;
    }
    logMessage("matching audio by features and attributes success.");
    return matcher.bestMatchIndex();
  });
}
