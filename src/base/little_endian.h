#pragma once

#include <bit>
#include <cstring>

namespace audio {

static_assert(std::endian::native == std::endian::little,
              "numbers of files and streams are read as they stand");

/// Reads a little-endian number of any alignment.
template <typename Number>
Number loadLittleEndian(const void* bytes) noexcept {
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

/// Writes a number as little-endian bytes.
template <typename Number>
void storeLittleEndian(Number number, void* bytes) noexcept {
  std::memcpy(bytes, &number, sizeof number);
}

}  // namespace audio
