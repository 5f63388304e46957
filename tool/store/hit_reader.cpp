#include "tool/store/hit_reader.h"

#include <utility>

#include "tool/store/packed_bucket.h"

namespace audiomatch {

HitReader::HitReader(std::shared_ptr<const ReferenceNames> names, std::size_t bytes) {
  found_.names = std::move(names);
  found_.hits.reserve(bytes / kPackedBytes);
}

void HitReader::take(const audio::AudioFeature& feature, std::string_view bucket) {
  if (bucket.data() != latest_.data() || bucket.size() != latest_.size()) {
    entries_.clear();
    appendUnpacked(entries_, bucket);
    latest_ = bucket;
  }
  const ReferenceNames& names = *found_.names;
  std::size_t end = found_.hits.size();
  // Each is written, and written over when it doesn't count: that it does is no branch then.
  found_.hits.resize(end + entries_.size());
  for (const std::uint64_t entry : entries_) {
    const audio::AudioHashHit hit = audio::hitOf(entry, feature.startTime);
    found_.hits[end] = hit;
    end += names.recording(hit.audio_index) >= 0;
  }
  found_.hits.resize(end);
  found_.ends.push_back(end);
}

}  // namespace audiomatch
