#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <unordered_map>
#include <vector>

#include "feature/audio_feature.h"
#include "match/audio_attribute.h"
#include "tool/recognition/attribute_collector.h"

namespace audiomatch {

/// The attributes that are live on any number of streams, by hash key. Those of a
/// stream leave in the order in which they came. Any thread, at any time.
class AttributeIndex {
 public:
  /// Adds attributes of a stream, sorted by key; whatever stream they name, they are
  /// its own. Throws std::bad_alloc, and then has none of them.
  void add(std::uint32_t stream, std::span<const audio::AudioAttribute> attributes);

  /// Removes for each key, which come sorted, the stream's oldest attribute: of a key
  /// that comes several times as many. All of them must be there.
  void remove(std::uint32_t stream, std::span<const std::uint32_t> keys) noexcept;

  /// The attributes of each feature, as AttributeCollector gives them and throwing as it does.
  ///
  /// @param features  sorted by key, as an extractor gives them
  std::vector<audio::AudioAttribute> lookUp(
      std::span<const audio::AudioFeature> features,
      std::size_t most = AttributeCollector::kMostFound) const;

 private:
  // Packed entries, by stream; those of a stream as they came.
  using Bucket = std::vector<std::uint64_t>;

  std::size_t count(std::span<const audio::AudioFeature> features, std::size_t most) const noexcept;

  mutable std::mutex mutex_;
  std::unordered_map<std::uint32_t, Bucket> by_key_;
};

}  // namespace audiomatch
