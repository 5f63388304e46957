#include "match/scoring/hit_groups.h"

#include <algorithm>
#include <cassert>

namespace audio {
namespace {

struct AudioCount {
  std::int32_t audio_index;
  std::uint32_t hits;
};

/// Keeps the audios with the most hits, in their final order.
void keepLargest(std::vector<AudioCount>& counts, std::size_t maxGroups) {
  const auto stronger = [](const AudioCount& a, const AudioCount& b) {
    return a.hits != b.hits ? a.hits > b.hits : a.audio_index < b.audio_index;
  };
  const std::size_t kept = std::min(maxGroups, counts.size());
  std::partial_sort(counts.begin(), counts.begin() + static_cast<std::ptrdiff_t>(kept),
                    counts.end(), stronger);
  counts.resize(kept);
}

// Slot of an audio index: -1, the placeholder's, comes first.
std::uint32_t slotOf(const AudioHashHit& hit) noexcept {
  return static_cast<std::uint32_t>(hit.audio_index) + 1;
}

/// Counts hits by slot. False when an index lies so far out that counting
/// would cost as much memory as the hits themselves.
bool countBySlot(std::span<const AudioHashHit> hits, std::vector<std::uint32_t>& counts) {
  const std::size_t limit = hits.size() + 4096;
  counts.assign(std::min<std::size_t>(limit, 4096), 0);
  for (const AudioHashHit& hit : hits) {
    const std::uint32_t slot = slotOf(hit);
    if (slot >= counts.size()) {
      if (slot >= limit) return false;
      counts.resize(std::min(limit, std::size_t{slot} * 2));
    }
    ++counts[slot];
  }
  return true;
}

/// Collects the offsets of the chosen audios. Most hits belong to others: they
/// are passed over without a branch, which would go wrong too often.
std::vector<HitGroup> collect(std::span<const AudioHashHit> hits,
                              const std::vector<AudioCount>& chosen, std::size_t slots) {
  constexpr std::uint16_t kOther = UINT16_MAX;
  std::vector<std::uint16_t> group_of(slots, kOther);
  std::vector<HitGroup> groups(chosen.size());
  std::size_t total = 0;
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    groups[i].audio_index = chosen[i].audio_index;
    groups[i].offsets.reserve(chosen[i].hits);
    group_of[slotOf({chosen[i].audio_index, 0})] = static_cast<std::uint16_t>(i);
    total += chosen[i].hits;
  }
  struct Member {
    std::int32_t offset;
    std::uint32_t group;
  };
  std::vector<Member> members(total + 1);
  Member* next = members.data();
  for (const AudioHashHit& hit : hits) {
    const std::uint16_t group = group_of[slotOf(hit)];
    *next = {hit.time_offset, group};
    next += group != kOther;
  }
  members.pop_back();
  for (const Member& member : members) groups[member.group].offsets.push_back(member.offset);
  return groups;
}

/// For indices that lie close together, as those of a database do.
bool groupByCounting(std::span<const AudioHashHit> hits, std::size_t maxGroups,
                     std::vector<HitGroup>& groups) {
  std::vector<std::uint32_t> by_slot;
  if (!countBySlot(hits, by_slot)) return false;
  std::vector<AudioCount> counts;
  counts.reserve(std::min(hits.size(), by_slot.size()));
  for (std::size_t slot = 0; slot < by_slot.size(); ++slot) {
    if (by_slot[slot] > 0) counts.push_back({static_cast<std::int32_t>(slot) - 1, by_slot[slot]});
  }
  keepLargest(counts, maxGroups);
  groups = collect(hits, counts, by_slot.size());
  return true;
}

/// For indices all over the 32-bit range.
std::vector<HitGroup> groupBySorting(std::span<const AudioHashHit> hits, std::size_t maxGroups) {
  std::vector<AudioHashHit> sorted(hits.begin(), hits.end());
  const auto by_audio = [](const AudioHashHit& a, const AudioHashHit& b) {
    return a.audio_index < b.audio_index;
  };
  std::stable_sort(sorted.begin(), sorted.end(), by_audio);
  std::vector<AudioCount> counts;
  for (const AudioHashHit& hit : sorted) {
    if (counts.empty() || counts.back().audio_index != hit.audio_index) {
      counts.push_back({hit.audio_index, 0});
    }
    ++counts.back().hits;
  }
  keepLargest(counts, maxGroups);

  std::vector<HitGroup> groups;
  for (const AudioCount& count : counts) {
    HitGroup& group = groups.emplace_back(HitGroup{count.audio_index, {}});
    const auto [first, end] = std::equal_range(sorted.begin(), sorted.end(),
                                               AudioHashHit{count.audio_index, 0}, by_audio);
    std::for_each(first, end,
                  [&](const AudioHashHit& h) { group.offsets.push_back(h.time_offset); });
  }
  return groups;
}

}  // namespace

std::vector<HitGroup> largestGroups(std::span<const AudioHashHit> hits, std::size_t maxGroups) {
  std::vector<HitGroup> groups;
  assert(maxGroups < UINT16_MAX);
  if (!groupByCounting(hits, maxGroups, groups)) groups = groupBySorting(hits, maxGroups);
  return groups;
}

}  // namespace audio
