#include "tool/keeping/bucket_sizes.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace audiomatch {

void BucketSizes::add(std::uint32_t key, std::size_t entries) {
  if (sizes_.size() <= key) sizes_.resize(key + 1);
  sizes_[key] = static_cast<std::uint32_t>(entries);
}

std::size_t BucketSizes::empty() const noexcept {
  return static_cast<std::size_t>(std::ranges::count(sizes_, 0u));
}

std::size_t BucketSizes::quantile(double share) const {
  if (sizes_.empty()) return 0;
  std::vector<std::uint32_t> sizes = sizes_;
  const auto count = static_cast<double>(sizes.size());
  const auto rank = static_cast<std::ptrdiff_t>(std::max(std::ceil(share * count), 1.0)) - 1;
  std::ranges::nth_element(sizes, sizes.begin() + rank);
  return sizes[static_cast<std::size_t>(rank)];
}

std::vector<BucketSizes::Bucket> BucketSizes::fullest() const {
  std::vector<std::uint32_t> keys(sizes_.size());
  std::iota(keys.begin(), keys.end(), 0u);
  const std::size_t count = std::min(kFullest, keys.size());
  std::ranges::partial_sort(keys, keys.begin() + static_cast<std::ptrdiff_t>(count),
                            [this](std::uint32_t a, std::uint32_t b) {
                              return sizes_[a] != sizes_[b] ? sizes_[a] > sizes_[b] : a < b;
                            });
  std::vector<Bucket> buckets;
  for (std::size_t i = 0; i < count; ++i) buckets.push_back({keys[i], sizes_[keys[i]]});
  return buckets;
}

}  // namespace audiomatch
