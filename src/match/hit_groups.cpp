#include "match/hit_groups.h"

#include <algorithm>

namespace audio {
namespace {

bool earlierAudio(const AudioHashHit& a, const AudioHashHit& b) noexcept {
  return a.audio_index < b.audio_index;
}

/// Distributes the hits by counting, for indices that lie close together as
/// those of a database do.
void countingSort(std::vector<AudioHashHit>& hits, std::int64_t lowest, std::size_t range) {
  std::vector<std::size_t> place(range + 1);
  const auto slot = [lowest](const AudioHashHit& hit) {
    return static_cast<std::size_t>(hit.audio_index - lowest);
  };
  for (const AudioHashHit& hit : hits) ++place[slot(hit) + 1];
  for (std::size_t i = 1; i <= range; ++i) place[i] += place[i - 1];
  std::vector<AudioHashHit> sorted(hits.size());
  for (const AudioHashHit& hit : hits) sorted[place[slot(hit)]++] = hit;
  hits.swap(sorted);
}

}  // namespace

void sortByAudioIndex(std::vector<AudioHashHit>& hits) {
  if (hits.size() < 2) return;
  const auto [lowest, highest] = std::minmax_element(hits.begin(), hits.end(), earlierAudio);
  const std::int64_t first = lowest->audio_index;
  const auto range = static_cast<std::uint64_t>(highest->audio_index - first) + 1;
  if (range <= hits.size()) {
    countingSort(hits, first, static_cast<std::size_t>(range));
  } else {
    std::stable_sort(hits.begin(), hits.end(), earlierAudio);
  }
}

std::vector<HitGroup> largestGroups(std::span<const AudioHashHit> hits, std::size_t maxGroups) {
  std::vector<HitGroup> groups;
  for (std::size_t first = 0; first < hits.size();) {
    std::size_t end = first + 1;
    while (end < hits.size() && hits[end].audio_index == hits[first].audio_index) ++end;
    groups.push_back({hits[first].audio_index, static_cast<std::int32_t>(end - first),
                      hits.subspan(first, end - first)});
    first = end;
  }
  // The index decides among equals, as a stable sort would.
  const auto stronger = [](const HitGroup& a, const HitGroup& b) {
    return a.hit_count != b.hit_count ? a.hit_count > b.hit_count : a.audio_index < b.audio_index;
  };
  const std::size_t kept = std::min(maxGroups, groups.size());
  std::partial_sort(groups.begin(), groups.begin() + static_cast<std::ptrdiff_t>(kept),
                    groups.end(), stronger);
  groups.resize(kept);
  return groups;
}

}  // namespace audio
