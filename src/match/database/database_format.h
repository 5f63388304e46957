#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "feature/land_mark.h"
#include "match/database/byte_source.h"
#include "match/database/packed_entry.h"

namespace audio {

// The fingerprint database file, little-endian, no padding:
//   u32 name count, then per name: u32 length L, L bytes, one zero byte
//   u32 table size, u32 time slots (the magic values below)
//   per bucket 0, 1, ...: u32 entry count n, n × u64 packed entries
inline constexpr std::uint32_t kTableSize = kHashKeys;             ///< one bucket per hash key
inline constexpr std::uint32_t kTimeSlots = 1u << kEntryTimeBits;  ///< times of an entry
inline constexpr std::size_t kCountBytes = 4;
inline constexpr std::size_t kEntryBytes = 8;

static_assert(std::endian::native == std::endian::little,
              "numbers of the file are read as they stand");

/// Reads a number of the file, of any alignment.
template <typename Number>
Number loadLittleEndian(const void* bytes) noexcept {
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

/// Writes a number as the file holds it.
template <typename Number>
void storeLittleEndian(Number number, void* bytes) noexcept {
  std::memcpy(bytes, &number, sizeof number);
}

/// Reads what stands before the bucket records and replaces `names` by the
/// names of the audios. Nothing is allocated on a count's word alone.
///
/// @return false when names run past the end or the magic values are wrong;
///         `names` are those that were read
bool readHeader(ByteSource& source, std::vector<std::string>& names);

}  // namespace audio
