#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "tool/recognition/references.h"

namespace audiomatch {

/// Turns the buckets of features into hits, as a look-up in a database does: of audios that
/// have a name only. Others are being added or removed.
class HitReader {
 public:
  /// @param bytes  of all buckets that are to come, for room
  /// @param most   entries of all buckets beyond which it throws, as `requireHits` does
  HitReader(std::shared_ptr<const ReferenceNames> names, std::size_t bytes, std::size_t most);

  /// Takes the bucket of the next feature, as stores keep it.
  void take(const audio::AudioFeature& feature, std::string_view bucket);

  /// What came together.
  FoundHits finish() { return std::move(found_); }

 private:
  void takeSorted(const audio::AudioFeature& feature, std::string_view bucket, std::size_t begin);

  FoundHits found_;
  std::size_t read_ = 0;  // entries
  std::size_t most_;
};

}  // namespace audiomatch
