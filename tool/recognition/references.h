#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "feature/audio_feature.h"
#include "match/database/audio_hash_hit.h"
#include "tool/recognition/reference_names.h"

namespace audiomatch {

/// What references have in common with a recording.
struct FoundHits {
  /// Of each feature in turn, by audio, then time.
  std::vector<audio::AudioHashHit> hits;
  /// By feature: the number of hits up to its last.
  std::vector<std::size_t> ends;
  /// Whose indices the hits name: those of one moment.
  std::shared_ptr<const ReferenceNames> names;
  /// A part of the references can't be reached now.
  bool is_partial = false;

  /// The hits of a feature.
  std::span<const audio::AudioHashHit> of(std::size_t feature) const noexcept {
    const std::size_t begin = feature == 0 ? 0 : ends[feature - 1];
    return std::span(hits).subspan(begin, ends[feature] - begin);
  }
};

/// References to recognise recordings by, wherever their entries are. Any thread.
class References {
 public:
  virtual ~References() = default;

  /// Looks features up. What is found is the same, and in the same order, for the same
  /// references wherever they are. Throws std::bad_alloc, and FileError when what
  /// holds them fails.
  ///
  /// @param features  sorted by key, as an extractor gives them
  virtual FoundHits find(const std::vector<audio::AudioFeature>& features) const = 0;

  /// The names that there are now; never null. Throws as `find` does.
  virtual std::shared_ptr<const ReferenceNames> names() const = 0;
};

}  // namespace audiomatch
