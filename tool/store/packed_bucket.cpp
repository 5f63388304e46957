#include "tool/store/packed_bucket.h"

#include <algorithm>
#include <cstring>

#include "base/little_endian.h"

namespace audiomatch {

void appendPacked(std::string& bucket, std::span<const std::uint64_t> entries) {
  bucket.reserve(bucket.size() + entries.size() * kPackedBytes);
  for (std::uint64_t entry : entries) {
    for (std::size_t byte = 0; byte < kPackedBytes; ++byte, entry >>= 8) {
      bucket.push_back(static_cast<char>(entry & 0xff));
    }
  }
}

void appendUnpacked(std::vector<std::uint64_t>& entries, std::string_view bucket) {
  constexpr std::uint64_t kMask = (std::uint64_t{1} << (8 * kPackedBytes)) - 1;
  const std::size_t before = entries.size();
  const std::size_t count = bucket.size() / kPackedBytes;
  if (count == 0) return;
  entries.resize(before + count);
  std::uint64_t* const out = entries.data() + before;
  for (std::size_t i = 0; i + 1 < count; ++i) {
    out[i] = audio::loadLittleEndian<std::uint64_t>(bucket.data() + i * kPackedBytes) & kMask;
  }
  // Nothing may lie behind the last one.
  char last[sizeof(std::uint64_t)] = {};
  std::memcpy(last, bucket.data() + (count - 1) * kPackedBytes, kPackedBytes);
  out[count - 1] = audio::loadLittleEndian<std::uint64_t>(last);
  const auto begin = entries.begin() + static_cast<std::ptrdiff_t>(before);
  if (!std::is_sorted(begin, entries.end())) std::sort(begin, entries.end());
}

std::string withEntries(std::string_view bucket, std::span<const std::uint64_t> added) {
  std::vector<std::uint64_t> entries;
  appendUnpacked(entries, bucket);
  entries.insert(entries.end(), added.begin(), added.end());
  std::ranges::sort(entries);
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
  std::string result;
  appendPacked(result, entries);
  return result;
}

}  // namespace audiomatch
