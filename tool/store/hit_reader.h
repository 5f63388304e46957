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
  HitReader(std::shared_ptr<const ReferenceNames> names, std::size_t bytes);

  /// Takes the bucket of the next feature, as stores keep it.
  void take(const audio::AudioFeature& feature, std::string_view bucket);

  /// What came together.
  FoundHits finish() { return std::move(found_); }

 private:
  FoundHits found_;
};

}  // namespace audiomatch
