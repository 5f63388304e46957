#pragma once

#include <jni.h>

namespace audio::jni {

/// A JNI local reference, deleted with its owner. Long loops would otherwise
/// fill the table of local references.
template <typename Object>
class LocalRef {
 public:
  LocalRef(JNIEnv* env, Object object) noexcept : env_(env), object_(object) {}
  LocalRef(const LocalRef&) = delete;
  LocalRef& operator=(const LocalRef&) = delete;
  ~LocalRef() {
    if (object_) env_->DeleteLocalRef(object_);
  }

  Object get() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  JNIEnv* env_;
  Object object_;
};

}  // namespace audio::jni
