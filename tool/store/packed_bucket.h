#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/little_endian.h"

namespace audiomatch {

/// Bytes of a packed entry as stores keep it: its 46 bits, little-endian. A bucket is
/// the entries of a hash key, one after another.
inline constexpr std::size_t kPackedBytes = 6;

/// Appends entries, whose bits above the 46th are 0.
void appendPacked(std::string& bucket, std::span<const std::uint64_t> entries);

/// Hands a bucket's entries to `take` as they stand, each as std::uint64_t. Bytes behind the last
/// whole one are left out. False when they don't ascend.
template <typename Take>
bool forEachPacked(std::string_view bucket, Take take) {
  constexpr std::uint64_t kMask = (std::uint64_t{1} << (8 * kPackedBytes)) - 1;
  const std::size_t count = bucket.size() / kPackedBytes;
  if (count == 0) return true;
  bool ascends = true;
  std::uint64_t before = 0;
  const auto next = [&](const char* bytes) {
    const std::uint64_t entry = audio::loadLittleEndian<std::uint64_t>(bytes) & kMask;
    ascends &= before <= entry;
    before = entry;
    take(entry);
  };
  for (std::size_t i = 0; i + 1 < count; ++i) next(bucket.data() + i * kPackedBytes);
  // Nothing may lie behind the last one.
  char last[sizeof(std::uint64_t)] = {};
  std::memcpy(last, bucket.data() + (count - 1) * kPackedBytes, kPackedBytes);
  next(last);
  return ascends;
}

/// Appends a bucket's entries, ascending: by audio, then time. Bytes behind the last whole
/// entry are left out.
void appendUnpacked(std::vector<std::uint64_t>& entries, std::string_view bucket);

/// A bucket with further entries, each once.
std::string withEntries(std::string_view bucket, std::span<const std::uint64_t> added);

}  // namespace audiomatch
