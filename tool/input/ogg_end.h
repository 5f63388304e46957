#pragma once

#include <cstddef>
#include <string_view>

#include "tool/input/descriptor.h"

namespace audiomatch {

/// What is wrong with an Ogg file whose end isn't there.
inline constexpr const char* kOggEndMissing = "ends there without the mark of an end";

/// Bytes at the end of an Ogg file that hold its last page, whatever it is.
inline constexpr std::size_t kMostOggPageBytes = 27 + 255 + std::size_t{255} * 255;

/// False for the last kMostOggPageBytes, or all, of an Ogg file, if its last page
/// isn't whole or isn't marked as a last one: something behind it is missing.
bool oggEndIsThere(std::string_view last_bytes) noexcept;

/// False for an Ogg file whose last page isn't whole or isn't marked as a last
/// one: something behind it is missing. True for a pipe, of which nothing can
/// be told. Leaves the descriptor where it is.
bool oggEndIsThere(const Descriptor& file);

}  // namespace audiomatch
