#include "tool/recognition/attribute_index.h"

#include <algorithm>
#include <iterator>

#include "match/database/packed_entry.h"

namespace audiomatch {
namespace {

audio::AudioAttribute earlier(const audio::AudioAttribute& attribute, std::uint32_t frames) {
  const std::uint64_t time = (attribute.hashValue - frames) & audio::kEntryTimeMask;
  return {(attribute.hashValue & ~audio::kEntryTimeMask) | time, attribute.hashKey};
}

}  // namespace

void AttributeIndex::apply(std::span<const audio::AudioAttribute> current,
                           std::span<const audio::AudioAttribute> expired) {
  const std::lock_guard lock(mutex_);
  for (const audio::AudioAttribute& attribute : expired) {
    const auto bucket = by_key_.find(attribute.hashKey);
    if (bucket == by_key_.end()) continue;
    const auto place = std::ranges::find(bucket->second, attribute);
    if (place != bucket->second.end()) bucket->second.erase(place);
    if (bucket->second.empty()) by_key_.erase(bucket);
  }
  for (const audio::AudioAttribute& attribute : current) {
    by_key_[attribute.hashKey].push_back(attribute);
  }
}

void AttributeIndex::forget(std::uint32_t streamId) {
  const std::lock_guard lock(mutex_);
  for (auto bucket = by_key_.begin(); bucket != by_key_.end();) {
    std::erase_if(bucket->second, [streamId](const audio::AudioAttribute& attribute) {
      return audio::entryAudioIndex(attribute.hashValue) == streamId;
    });
    bucket = bucket->second.empty() ? by_key_.erase(bucket) : std::next(bucket);
  }
}

std::vector<audio::AudioAttribute> AttributeIndex::lookUp(
    std::span<const audio::AudioFeature> features) const {
  const std::lock_guard lock(mutex_);
  std::vector<audio::AudioAttribute> found;
  const audio::AudioFeature* taker = nullptr;
  for (const audio::AudioFeature& feature : features) {
    const auto bucket = by_key_.find(feature.hashKey);
    if (bucket == by_key_.end()) continue;
    if (!taker || taker->hashKey != feature.hashKey) taker = &feature;
    for (const audio::AudioAttribute& attribute : bucket->second) {
      found.push_back(earlier(attribute, feature.startTime - taker->startTime));
    }
  }
  return found;
}

std::size_t AttributeIndex::size() const {
  const std::lock_guard lock(mutex_);
  std::size_t size = 0;
  for (const auto& [key, attributes] : by_key_) size += attributes.size();
  return size;
}

}  // namespace audiomatch
