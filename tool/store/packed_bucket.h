#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace audiomatch {

/// Bytes of a packed entry as stores keep it: its 46 bits, little-endian. A bucket is
/// the entries of a hash key, one after another.
inline constexpr std::size_t kPackedBytes = 6;

/// Appends entries, whose bits above the 46th are 0.
void appendPacked(std::string& bucket, std::span<const std::uint64_t> entries);

/// Appends a bucket's entries, ascending: by audio, then time. Bytes behind the last whole
/// entry are left out.
void appendUnpacked(std::vector<std::uint64_t>& entries, std::string_view bucket);

/// A bucket with further entries, each once.
std::string withEntries(std::string_view bucket, std::span<const std::uint64_t> added);

}  // namespace audiomatch
