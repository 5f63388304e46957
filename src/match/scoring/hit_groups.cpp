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

// A line of the cache, and how far ahead it is asked for: where hits come from memory, counts that
// the first cache doesn't hold wait behind them, which takes twice the time.
constexpr std::size_t kHitsOfLine = 64 / sizeof(AudioHashHit);
constexpr std::size_t kHitsAhead = 64 * kHitsOfLine;

/// Adds hits to the counts by slot. False for a slot from `limit` on.
inline bool addTo(std::vector<std::uint32_t>& counts, std::span<const AudioHashHit> hits,
                  std::size_t limit) {
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

/// Counts hits by slot. False when an index lies so far out that counting
/// would cost as much memory as the hits themselves.
bool countBySlot(std::span<const AudioHashHit> hits, std::vector<std::uint32_t>& counts) {
  const std::size_t limit = hits.size() + 4096;
  counts.assign(std::min<std::size_t>(limit, 4096), 0);
  for (std::size_t begin = 0; begin < hits.size(); begin += kHitsOfLine) {
    __builtin_prefetch(&hits[std::min(begin + kHitsAhead, hits.size() - 1)]);
    const auto line = hits.subspan(begin, std::min(kHitsOfLine, hits.size() - begin));
    if (!addTo(counts, line, limit)) return false;
  }
  return true;
}

/// A set of slots, a bit each: what every hit is looked up in stays in the first cache.
class SlotSet {
 public:
  explicit SlotSet(std::size_t slots) : words_(slots / kBits + 1) {}

  void insert(std::uint32_t slot) noexcept { words_[slot / kBits] |= kOne << slot % kBits; }
  /// 1 if `slot` is in the set, or 0.
  std::uint64_t count(std::uint32_t slot) const noexcept {
    return words_[slot / kBits] >> slot % kBits & kOne;
  }

 private:
  static constexpr std::uint32_t kBits = 64;
  static constexpr std::uint64_t kOne = 1;

  std::vector<std::uint64_t> words_;
};

/// Copies the hits of some slots, `count` of them. Most hits belong to others: they are passed
/// over without a branch, which would go wrong too often.
std::vector<AudioHashHit> hitsOf(const SlotSet& slots, std::span<const AudioHashHit> hits,
                                 std::size_t count) {
  std::vector<AudioHashHit> members(count + 1);
  AudioHashHit* next = members.data();
  for (const AudioHashHit& hit : hits) {
    *next = hit;
    next += slots.count(slotOf(hit));
  }
  members.pop_back();
  return members;
}

/// Collects the offsets of the chosen audios.
std::vector<HitGroup> collect(std::span<const AudioHashHit> hits,
                              const std::vector<AudioCount>& chosen, std::size_t slots) {
  std::vector<std::uint16_t> group_of(slots);
  SlotSet is_chosen(slots);
  std::vector<HitGroup> groups(chosen.size());
  std::size_t total = 0;
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    groups[i].audio_index = chosen[i].audio_index;
    groups[i].offsets.reserve(chosen[i].hits);
    const std::uint32_t slot = slotOf({chosen[i].audio_index, 0});
    group_of[slot] = static_cast<std::uint16_t>(i);
    is_chosen.insert(slot);
    total += chosen[i].hits;
  }
  for (const AudioHashHit& hit : hitsOf(is_chosen, hits, total)) {
    groups[group_of[slotOf(hit)]].offsets.push_back(hit.time_offset);
  }
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
