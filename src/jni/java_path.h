#pragma once

#include <jni.h>

#include <string>

namespace audio::jni {

/// A Java string as a path of the file system: UTF-8, zero-terminated.
class JavaPath {
 public:
  /// A null string gives no text, and so does one that Java can't hand out.
  JavaPath(JNIEnv* env, jstring path);

  /// The path, valid as long as the object; null when there is none.
  const char* text() const noexcept { return exists_ ? text_.c_str() : nullptr; }

 private:
  bool exists_ = false;
  std::string text_;
};

}  // namespace audio::jni
