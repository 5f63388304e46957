#pragma once

#include <memory>
#include <mutex>

#include "tool/recognition/references.h"

namespace audiomatch {

/// Makes one of references in two places: the audios of the second follow those of the
/// first, whose names never change. Any thread.
class ReferenceJoiner {
 public:
  /// All names. Throws std::bad_alloc.
  std::shared_ptr<const ReferenceNames> join(const std::shared_ptr<const ReferenceNames>& first,
                                             const std::shared_ptr<const ReferenceNames>& second);

  /// All hits of the same features, as if they had been found in one place; without those
  /// of the first one's background where both have more audios than a match examines. Throws
  /// std::bad_alloc.
  FoundHits join(const FoundHits& first, FoundHits second);

 private:
  std::mutex mutex_;
  // The latest, and what it was joined of.
  std::shared_ptr<const ReferenceNames> second_;
  std::shared_ptr<const ReferenceNames> joined_;
};

}  // namespace audiomatch
