#include "jni/feature_result.h"

#include "base/logger.h"
#include "jni/object_conversion.h"

namespace audio::jni {

jobjectArray featureResult(JNIEnv* env, const std::vector<AudioFeature>& features) noexcept {
  if (features.empty()) {
    logMessage("features number is 0.");
    return nullptr;
  }
  logMessage("extract audio data features success.");
  jobjectArray array = nullptr;
  if (featuresToJava(env, features, array)) {
    logMessage("convert audio features to obj array success.");
  } else {
    logMessage("convert audio features to obj array failed.");
  }
  return array;
}

}  // namespace audio::jni
