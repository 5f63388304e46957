#pragma once

#include <jni.h>

namespace audio::jni {

/// The pair of JNI calls that pins an array of each type.
template <typename Array>
struct PinCalls;

template <>
struct PinCalls<jbyteArray> {
  using Element = jbyte;
  static constexpr auto kPin = &JNIEnv::GetByteArrayElements;
  static constexpr auto kRelease = &JNIEnv::ReleaseByteArrayElements;
};

template <>
struct PinCalls<jshortArray> {
  using Element = jshort;
  static constexpr auto kPin = &JNIEnv::GetShortArrayElements;
  static constexpr auto kRelease = &JNIEnv::ReleaseShortArrayElements;
};

template <>
struct PinCalls<jintArray> {
  using Element = jint;
  static constexpr auto kPin = &JNIEnv::GetIntArrayElements;
  static constexpr auto kRelease = &JNIEnv::ReleaseIntArrayElements;
};

template <>
struct PinCalls<jfloatArray> {
  using Element = jfloat;
  static constexpr auto kPin = &JNIEnv::GetFloatArrayElements;
  static constexpr auto kRelease = &JNIEnv::ReleaseFloatArrayElements;
};

/// The elements of a Java array for as long as the object lives. Released in
/// mode 0: what was written is copied back.
template <typename Array>
class PinnedArray {
 public:
  using Element = typename PinCalls<Array>::Element;

  PinnedArray() noexcept = default;
  PinnedArray(const PinnedArray&) = delete;
  PinnedArray& operator=(const PinnedArray&) = delete;
  ~PinnedArray() {
    if (elements_) (env_->*PinCalls<Array>::kRelease)(array_, elements_, 0);
  }

  /// Pins a non-null array; false when Java can't. Once per object.
  bool pin(JNIEnv* env, Array array) noexcept {
    env_ = env;
    array_ = array;
    elements_ = (env->*PinCalls<Array>::kPin)(array, nullptr);
    return elements_ != nullptr;
  }

  /// Null unless pinned.
  Element* elements() const noexcept { return elements_; }

 private:
  JNIEnv* env_ = nullptr;
  Array array_ = nullptr;
  Element* elements_ = nullptr;
};

}  // namespace audio::jni
