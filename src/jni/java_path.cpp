#include "jni/java_path.h"

#include "jni/modified_utf8.h"

namespace audio::jni {
namespace {

/// The characters of a Java string, released with their owner.
class StringCharacters {
 public:
  StringCharacters(JNIEnv* env, jstring string) noexcept
      : env_(env), string_(string), characters_(env->GetStringUTFChars(string, nullptr)) {}
  StringCharacters(const StringCharacters&) = delete;
  StringCharacters& operator=(const StringCharacters&) = delete;
  ~StringCharacters() {
    if (characters_) env_->ReleaseStringUTFChars(string_, characters_);
  }

  const char* get() const noexcept { return characters_; }

 private:
  JNIEnv* env_;
  jstring string_;
  const char* characters_;
};

}  // namespace

JavaPath::JavaPath(JNIEnv* env, jstring path) {
  if (!path) return;
  const StringCharacters characters(env, path);
  if (!characters.get()) return;
  text_ = fromModifiedUtf8(characters.get());
  exists_ = true;
}

}  // namespace audio::jni
