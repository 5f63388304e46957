#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <span>
#include <stdexcept>
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

/// Most hits of a look-up that is made for a stranger, who may send features that have any
/// number of them: 160 MB.
inline constexpr std::size_t kMostHits = 20'000'000;
/// For whoever may look up what he likes.
inline constexpr std::size_t kAnyHits = std::numeric_limits<std::size_t>::max();

/// Throws std::length_error for a look-up of more hits than it may have.
inline void requireHits(std::size_t hits, std::size_t most) {
  if (hits > most) throw std::length_error("it has too much in common with the references");
}

/// References to recognise recordings by, wherever their entries are. Any thread.
class References {
 public:
  virtual ~References() = default;

  /// Looks features up. What is found is the same, and in the same order, for the same
  /// references wherever they are. Throws std::bad_alloc, and FileError when what
  /// holds them fails.
  ///
  /// @param features  sorted by key, as an extractor gives them
  /// @param most      hits beyond which it throws std::length_error instead, as `requireHits`
  FoundHits find(const std::vector<audio::AudioFeature>& features,
                 std::size_t most = kAnyHits) const {
    return lookUp(features, most);
  }

  /// The names that there are now; never null. Throws as `find` does.
  virtual std::shared_ptr<const ReferenceNames> names() const = 0;

 private:
  virtual FoundHits lookUp(const std::vector<audio::AudioFeature>& features,
                           std::size_t most) const = 0;
};

}  // namespace audiomatch
