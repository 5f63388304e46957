#include "jni/result_array.h"

#include "jni/object_conversion.h"

namespace audio::jni {
namespace {

/// Logs how a conversion ended; features and attributes share the text.
void logConversion(bool converted) noexcept {
  logMessage("%s", converted ? "convert audio features to obj array success."
                             : "convert audio features to obj array failed.");
}

}  // namespace

jobjectArray featureResult(JNIEnv* env, const std::vector<AudioFeature>& features) noexcept {
  if (features.empty()) {
    logMessage("features number is 0.");
    return nullptr;
  }
  logMessage("extract audio data features success.");
  jobjectArray array = nullptr;
  logConversion(featuresToJava(env, features, array));
  return array;
}

jobjectArray attributeResult(JNIEnv* env, const std::vector<AudioAttribute>& attributes) noexcept {
  if (attributes.empty()) return nullptr;
  jobjectArray array = nullptr;
  logConversion(attributesToJava(env, attributes, array));
  return array;
}

jobjectArray expiredAttributeResult(JNIEnv* env,
                                    const std::vector<AudioAttribute>& attributes) noexcept {
  if (attributes.empty()) return nullptr;
  jobjectArray array = nullptr;
  const bool converted = attributesToJava(env, attributes, array);
  logMessage("%s", converted ? "convert expired audio features to obj array success."
                             : "convert expired audio features to obj array failed.");
  return array;
}

}  // namespace audio::jni
