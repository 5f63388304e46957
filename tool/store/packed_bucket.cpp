#include "tool/store/packed_bucket.h"

#include <algorithm>

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
  const auto before = static_cast<std::ptrdiff_t>(entries.size());
  entries.reserve(entries.size() + bucket.size() / kPackedBytes);
  const bool ascend = forEachPacked(bucket, [&](std::uint64_t entry) { entries.push_back(entry); });
  if (!ascend) std::sort(entries.begin() + before, entries.end());
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
