#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "feature/audio_feature.h"
#include "match/audio_attribute.h"
#include "match/database/packed_entry.h"

namespace audiomatch {

/// Collects the attributes of features, in the order that scoring expects.
///
/// Scoring gives all attributes of a key to the first of the features with that key,
/// and measures their time from it. So those that stand for a later feature have their time
/// moved back by the frames between the two, within its 14 bits: every feature then
/// counts once, at its own distance.
class AttributeCollector {
 public:
  /// 64 MB of them.
  static constexpr std::size_t kMostFound = 4'000'000;

  /// @param most  attributes, beyond which `take` throws
  explicit AttributeCollector(std::size_t most = kMostFound) : most_(most) {}

  /// Makes room for so many, unless they are too many. Throws as `take` does.
  void reserve(std::size_t count) {
    requireRoom(count);
    found_.reserve(count);
  }

  /// Takes the packed entries of the next feature; features come sorted by key. Throws
  /// std::length_error when there are too many, and std::bad_alloc.
  void take(const audio::AudioFeature& feature, std::span<const std::uint64_t> entries) {
    if (entries.empty()) return;
    requireRoom(entries.size());
    if (taker_.hashKey != feature.hashKey) taker_ = feature;
    const std::uint32_t frames = feature.startTime - taker_.startTime;
    for (const std::uint64_t entry : entries) {
      const std::uint64_t time = (entry - frames) & audio::kEntryTimeMask;
      found_.push_back({(entry & ~audio::kEntryTimeMask) | time, feature.hashKey});
    }
  }

  /// What came together.
  std::vector<audio::AudioAttribute> finish() { return std::move(found_); }

 private:
  void requireRoom(std::size_t more) const {
    if (more <= most_ - found_.size()) return;
    throw std::length_error("it has too much in common with the channels on air");
  }

  std::size_t most_;
  audio::AudioFeature taker_{0, UINT32_MAX};  // of no key at first
  std::vector<audio::AudioAttribute> found_;
};

}  // namespace audiomatch
