#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/little_endian.h"
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

/// True for a bucket that may have been cut short: one that claims more than
/// 1 GiB of entries, which the file hasn't got, isn't believed.
constexpr bool isCredible(std::uint64_t entries) noexcept {
  return entries <= (std::uint64_t{1} << 30) / kEntryBytes;
}

/// Reads a count. Bytes that the source hasn't got count as zero; false when
/// it hasn't got them all.
bool readCount(ByteSource& source, std::uint32_t& count) noexcept;

/// Reads a name record and appends the name, which ends at its first zero byte.
/// False when the source ends first; nothing is allocated on the length's word
/// alone. Null for a name that isn't kept. Throws std::bad_alloc.
bool readName(ByteSource& source, std::string* name);

/// Reads what stands before the bucket records. Nothing is allocated on a
/// count's word alone; throws std::bad_alloc.
///
/// @param names  replaced by the names of the audios, as far as they could be
///               read; null for a look at the header that keeps nothing
/// @return false when names run past the end or the magic values are wrong
bool readHeader(ByteSource& source, std::vector<std::string>* names);

}  // namespace audio
