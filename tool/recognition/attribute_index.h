#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <unordered_map>
#include <vector>

#include "feature/audio_feature.h"
#include "match/audio_attribute.h"

namespace audiomatch {

/// The attributes that are live on any number of channels, by hash key. Any
/// thread, at any time.
class AttributeIndex {
 public:
  /// Adds what has come and removes what has expired: of equal attributes as
  /// many as are given. Throws std::bad_alloc.
  void apply(std::span<const audio::AudioAttribute> current,
             std::span<const audio::AudioAttribute> expired);

  /// Removes every attribute of a stream.
  void forget(std::uint32_t streamId);

  /// The attributes of each feature, in the order that scoring expects.
  ///
  /// Scoring gives all attributes of a key to the first of the features with
  /// that key, and measures their time from it. So those that stand for a later
  /// feature have their time moved back by the frames between the two, within
  /// its 14 bits: every feature then counts once, at its own distance. Throws
  /// std::bad_alloc.
  ///
  /// @param features  sorted by key, as an extractor gives them
  std::vector<audio::AudioAttribute> lookUp(std::span<const audio::AudioFeature> features) const;

  /// Number of attributes, duplicates counted.
  std::size_t size() const;

 private:
  mutable std::mutex mutex_;
  std::unordered_map<std::uint32_t, std::vector<audio::AudioAttribute>> by_key_;
};

}  // namespace audiomatch
