#include "tool/store/hit_reader.h"

#include <algorithm>
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
  const std::size_t count = bucket.size() / kPackedBytes;
  requireHits(read_ += count, most_);
  const std::size_t begin = found_.hits.size();
  found_.hits.resize(begin + count);
  audio::AudioHashHit* to = found_.hits.data() + begin;
  const bool ascend = forEachPacked(
      bucket, [&](std::uint64_t entry) { *to++ = audio::hitOf(entry, feature.startTime); });
  if (!ascend) takeSorted(feature, bucket, begin);
  // The last one has the highest audio.
  const ReferenceNames& names = *found_.names;
  const auto is_unnamed = [&names](const audio::AudioHashHit& hit) {
    return names.recording(hit.audio_index) < 0;
  };
  if (count > 0 && (!names.areAllThere() || is_unnamed(found_.hits.back()))) {
    const auto first = found_.hits.begin() + static_cast<std::ptrdiff_t>(begin);
    found_.hits.erase(std::remove_if(first, found_.hits.end(), is_unnamed), found_.hits.end());
  }
  found_.ends.push_back(found_.hits.size());
}

/// Takes a bucket where entries were added behind the others: from hit number `begin` on.
void HitReader::takeSorted(const audio::AudioFeature& feature, std::string_view bucket,
                           std::size_t begin) {
  std::vector<std::uint64_t> entries;
  appendUnpacked(entries, bucket);
  std::ranges::transform(
      entries, found_.hits.begin() + static_cast<std::ptrdiff_t>(begin),
      [&](std::uint64_t entry) { return audio::hitOf(entry, feature.startTime); });
}

}  // namespace audiomatch
