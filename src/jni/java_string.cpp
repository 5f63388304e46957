#include "jni/java_string.h"

#include <cstddef>

namespace audio::jni {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Character {
  char32_t code;
  std::size_t length;  // bytes it takes, 0 when they are no character
};

unsigned char byteAt(std::string_view text, std::size_t i) noexcept {
  return static_cast<unsigned char>(text[i]);
}

/// The character at the start of `text`, surrogates included.
Character decode(std::string_view text) noexcept {
  const unsigned char lead = byteAt(text, 0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {0, 0};
  char32_t code = lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byteAt(text, i) & 0xC0) != 0x80) return {0, 0};
    code = code << 6 | (byteAt(text, i) & 0x3Fu);
  }
  constexpr char32_t kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kLowest[length] || code > 0x10FFFF) return {0, 0};
  return {code, length};
}

void appendThreeBytes(std::string& out, char32_t code) {
  out += static_cast<char>(0xE0 | code >> 12);
  out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
  out += static_cast<char>(0x80 | (code & 0x3F));
}

bool isHighSurrogate(char32_t code) noexcept { return code >= 0xD800 && code < 0xDC00; }
bool isLowSurrogate(char32_t code) noexcept { return code >= 0xDC00 && code < 0xE000; }

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

std::string toModifiedUtf8(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  while (!bytes.empty()) {
    const Character character = decode(bytes);
    const std::size_t length = character.length > 0 ? character.length : 1;
    if (character.length == 0) {
      appendThreeBytes(out, kReplacement);
    } else if (character.code == 0) {
      out += "\xC0\x80";
    } else if (character.code >= 0x10000) {
      const char32_t above = character.code - 0x10000;
      appendThreeBytes(out, 0xD800 + (above >> 10));
      appendThreeBytes(out, 0xDC00 + (above & 0x3FF));
    } else {
      out.append(bytes.substr(0, length));
    }
    bytes.remove_prefix(length);
  }
  return out;
}

std::string fromModifiedUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Character first = decode(text);
    const std::size_t length = first.length > 0 ? first.length : 1;
    if (first.length == 3 && isHighSurrogate(first.code) && text.size() >= 6) {
      const Character second = decode(text.substr(3));
      if (second.length == 3 && isLowSurrogate(second.code)) {
        const char32_t code = 0x10000 + ((first.code - 0xD800) << 10) + (second.code - 0xDC00);
        out += static_cast<char>(0xF0 | code >> 18);
        out += static_cast<char>(0x80 | (code >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
        text.remove_prefix(6);
        continue;
      }
    }
    out.append(text.substr(0, length));
    text.remove_prefix(length);
  }
  return out;
}

JavaPath::JavaPath(JNIEnv* env, jstring path) {
  if (!path) return;
  const StringCharacters characters(env, path);
  if (!characters.get()) return;
  text_ = fromModifiedUtf8(characters.get());
  exists_ = true;
}

}  // namespace audio::jni
