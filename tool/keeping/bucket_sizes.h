#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace audiomatch {

/// How the entries of a database are spread over its buckets.
class BucketSizes {
 public:
  /// The buckets that are told apart: the fullest ones.
  static constexpr std::size_t kFullest = 10;

  struct Bucket {
    std::uint32_t key;
    std::size_t entries;
  };

  /// Takes the next bucket.
  void add(std::uint32_t key, std::size_t entries);

  /// Buckets without entries.
  std::size_t empty() const noexcept;
  /// The size that `share` of all buckets don't exceed, 0 to 1.
  std::size_t quantile(double share) const;
  /// The fullest buckets, fullest first; of equals those of lower keys.
  std::vector<Bucket> fullest() const;

 private:
  std::vector<std::uint32_t> sizes_;
};

}  // namespace audiomatch
