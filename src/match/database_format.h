#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace audio {

// The fingerprint database file, little-endian, no padding:
//   u32 name count, then per name: u32 length L, L bytes, one zero byte
//   u32 table size, u32 time slots (the magic values below)
//   per bucket 0, 1, ...: u32 entry count n, n × u64 packed entries
inline constexpr std::uint32_t kTableSize = 1'048'576;  ///< one bucket per 20-bit hash key
inline constexpr std::uint32_t kTimeSlots = 16'384;     ///< times of an entry
inline constexpr std::size_t kCountBytes = 4;
inline constexpr std::size_t kEntryBytes = 8;

/// Reads a little-endian number, of any alignment.
template <typename Number>
Number loadLittleEndian(const void* bytes) noexcept {
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  if constexpr (std::endian::native == std::endian::big) {
    Number swapped = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
      swapped = static_cast<Number>(swapped << 8 | ((number >> (8 * i)) & 0xFF));
    }
    number = swapped;
  }
  return number;
}

/// Writes a number as little-endian bytes.
template <typename Number>
void storeLittleEndian(Number number, void* bytes) noexcept {
  auto* out = static_cast<unsigned char*>(bytes);
  for (std::size_t i = 0; i < sizeof number; ++i) {
    out[i] = static_cast<unsigned char>(number >> (8 * i));
  }
}

}  // namespace audio
