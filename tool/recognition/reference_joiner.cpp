#include "tool/recognition/reference_joiner.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tool/keeping/background.h"

namespace audiomatch {
namespace {

void append(std::vector<std::string>& list, const ReferenceNames& names) {
  for (std::size_t i = 0; i < names.audioCount(); ++i) {
    list.push_back(names.name(static_cast<std::int32_t>(i)));
  }
}

}  // namespace

std::shared_ptr<const ReferenceNames> ReferenceJoiner::join(
    const std::shared_ptr<const ReferenceNames>& first,
    const std::shared_ptr<const ReferenceNames>& second) {
  if (first->audioCount() == 0) return second;
  const std::lock_guard lock(mutex_);
  if (second_ == second) return joined_;
  std::vector<std::string> list;
  append(list, *first);
  // Between them, so that the last of the first isn't taken for a part of one of its name.
  list.emplace_back();
  append(list, *second);
  joined_ = std::make_shared<const ReferenceNames>(std::move(list),
                                                   first->entryCount() + second->entryCount());
  second_ = second;
  return joined_;
}

FoundHits ReferenceJoiner::join(const FoundHits& first, FoundHits second) {
  if (first.names->audioCount() == 0) return second;
  // A background of few would keep those of the many from being examined.
  const bool has_room =
      first.names->audioCount() + second.names->audioCount() <= kMostWithBackground;
  const auto shift = static_cast<std::int32_t>(first.names->audioCount() + 1);
  FoundHits joined{.hits = {},
                   .ends = {},
                   .names = join(first.names, second.names),
                   .is_partial = first.is_partial || second.is_partial};
  joined.hits.reserve(first.hits.size() + second.hits.size());
  joined.ends.reserve(first.ends.size());
  for (std::size_t i = 0; i < first.ends.size(); ++i) {
    for (const audio::AudioHashHit& hit : first.of(i)) {
      if (has_room || first.names->recording(hit.audio_index) >= 0) joined.hits.push_back(hit);
    }
    for (const audio::AudioHashHit& hit : second.of(i)) {
      joined.hits.push_back({hit.audio_index + shift, hit.time_offset});
    }
    joined.ends.push_back(joined.hits.size());
  }
  return joined;
}

}  // namespace audiomatch
