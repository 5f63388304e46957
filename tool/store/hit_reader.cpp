#include "tool/store/hit_reader.h"

#include <utility>

#include "tool/store/packed_bucket.h"

namespace audiomatch {

HitReader::HitReader(std::shared_ptr<const ReferenceNames> names, std::size_t bytes,
                     std::size_t most)
    : most_(most) {
  requireHits(bytes / kPackedBytes, most);
  found_.names = std::move(names);
  found_.hits.reserve(bytes / kPackedBytes);
}

void HitReader::take(const audio::AudioFeature& feature, std::string_view bucket) {
  const ReferenceNames& names = *found_.names;
  requireHits(read_ += bucket.size() / kPackedBytes, most_);
  const std::size_t begin = found_.hits.size();
  found_.hits.resize(begin + bucket.size() / kPackedBytes);
  std::size_t end = begin;
  // Each is written, and written over when it doesn't count: that it does is no branch then.
  const auto append = [&](std::uint64_t entry) {
    const audio::AudioHashHit hit = audio::hitOf(entry, feature.startTime);
    found_.hits[end] = hit;
    end += names.recording(hit.audio_index) >= 0;
  };
  if (!forEachPacked(bucket, append)) {
    // Where entries are added behind the others, a bucket is sorted when it is read.
    std::vector<std::uint64_t> entries;
    appendUnpacked(entries, bucket);
    end = begin;
    for (const std::uint64_t entry : entries) append(entry);
  }
  found_.hits.resize(end);
  found_.ends.push_back(end);
}

}  // namespace audiomatch
