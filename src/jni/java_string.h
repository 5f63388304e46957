#pragma once

#include <jni.h>

#include <string>
#include <string_view>

namespace audio::jni {

/// Any bytes as the modified UTF-8 that `NewStringUTF` requires.
///
/// UTF-8 goes over, U+0000 in two bytes, characters beyond the basic plane as
/// surrogate pairs of three bytes each; such pairs are left as they are. Bytes
/// that are no UTF-8 become U+FFFD one by one.
std::string toModifiedUtf8(std::string_view bytes);

/// Modified UTF-8 from Java as the UTF-8 that the file system expects:
/// surrogate pairs become characters of four bytes. All else stays, U+0000
/// included, whose two bytes no path contains.
std::string fromModifiedUtf8(std::string_view text);

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
