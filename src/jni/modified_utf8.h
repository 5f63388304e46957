#pragma once

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

}  // namespace audio::jni
