#include "tool/recognition/attribute_index.h"

#include <algorithm>
#include <cstddef>
#include <functional>

#include "match/database/packed_entry.h"

namespace audiomatch {
namespace {

/// The length of the run of equal keys that a list, which isn't empty, begins with.
template <typename Item, typename Key>
std::size_t firstRun(std::span<const Item> list, Key key) noexcept {
  const auto first = std::invoke(key, list.front());
  return static_cast<std::size_t>(std::ranges::upper_bound(list, first, {}, key) - list.begin());
}

/// Makes room so that adding takes none, without copying a bucket each time.
void reserveMore(std::vector<std::uint64_t>& bucket, std::size_t more) {
  const std::size_t needed = bucket.size() + more;
  if (needed > bucket.capacity()) bucket.reserve(std::max(needed, 2 * bucket.capacity()));
}

}  // namespace

void AttributeIndex::add(std::uint32_t stream, std::span<const audio::AudioAttribute> attributes) {
  const auto key = &audio::AudioAttribute::hashKey;
  const std::lock_guard lock(mutex_);
  for (auto rest = attributes; !rest.empty(); rest = rest.subspan(firstRun(rest, key))) {
    reserveMore(by_key_[rest.front().hashKey], firstRun(rest, key));
  }
  for (auto rest = attributes; !rest.empty();) {
    const auto run = rest.first(firstRun(rest, key));
    rest = rest.subspan(run.size());
    Bucket& bucket = by_key_.find(run.front().hashKey)->second;
    const auto end = std::ranges::upper_bound(bucket, stream, {}, audio::entryAudioIndex);
    auto place = bucket.insert(end, run.size(), 0);
    for (const audio::AudioAttribute& attribute : run) {
      *place++ = audio::packEntry(stream, audio::entryTime(attribute.hashValue));
    }
  }
}

void AttributeIndex::remove(std::uint32_t stream, std::span<const std::uint32_t> keys) noexcept {
  const std::lock_guard lock(mutex_);
  while (!keys.empty()) {
    const auto run = static_cast<std::ptrdiff_t>(firstRun(keys, std::identity()));
    const auto bucket = by_key_.find(keys.front());
    keys = keys.subspan(static_cast<std::size_t>(run));
    Bucket& entries = bucket->second;
    const auto first = std::ranges::lower_bound(entries, stream, {}, audio::entryAudioIndex);
    entries.erase(first, first + run);
    if (entries.empty()) by_key_.erase(bucket);
  }
}

std::size_t AttributeIndex::count(std::span<const audio::AudioFeature> features,
                                  std::size_t most) const noexcept {
  std::size_t count = 0;
  for (const audio::AudioFeature& feature : features) {
    const auto bucket = by_key_.find(feature.hashKey);
    if (bucket != by_key_.end()) count += bucket->second.size();
    if (count > most) break;
  }
  return count;
}

std::vector<audio::AudioAttribute> AttributeIndex::lookUp(
    std::span<const audio::AudioFeature> features, std::size_t most) const {
  AttributeCollector collector(most);
  const std::lock_guard lock(mutex_);
  collector.reserve(count(features, most));
  for (const audio::AudioFeature& feature : features) {
    const auto bucket = by_key_.find(feature.hashKey);
    if (bucket != by_key_.end()) collector.take(feature, bucket->second);
  }
  return collector.finish();
}

}  // namespace audiomatch
