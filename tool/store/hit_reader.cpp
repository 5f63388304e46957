#include "tool/store/hit_reader.h"

#include <utility>

#include "tool/store/packed_bucket.h"

namespace audiomatch {

HitReader::HitReader(std::shared_ptr<const ReferenceNames> names) {
  found_.names = std::move(names);
}

void HitReader::take(const audio::AudioFeature& feature, std::string_view bucket) {
  entries_.clear();
  appendUnpacked(entries_, bucket);
  for (const std::uint64_t entry : entries_) {
    const audio::AudioHashHit hit = audio::hitOf(entry, feature.startTime);
    if (found_.names->recording(hit.audio_index) >= 0) found_.hits.push_back(hit);
  }
  found_.ends.push_back(found_.hits.size());
}

}  // namespace audiomatch
