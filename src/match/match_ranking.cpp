#include "match/match_ranking.h"

#include <algorithm>
#include <cfloat>
#include <utility>

#include "match/hit_groups.h"
#include "match/offset_consensus.h"

namespace audio {
namespace {

constexpr std::size_t kMaxCandidates = 20;
constexpr std::uint32_t kMaxIterations = 60;

Match scoreGroup(HitGroup group) {
  const std::size_t hit_count = group.hitCount();
  const std::uint32_t agreeing = countConsistentHits(std::move(group.offsets), kMaxIterations);
  const float ratio = static_cast<float>(agreeing) / (static_cast<float>(hit_count) + FLT_EPSILON);
  return {group.audio_index, static_cast<std::int32_t>(agreeing), static_cast<double>(ratio)};
}

}  // namespace

std::vector<Match> rankMatches(std::span<const AudioHashHit> hits) {
  std::vector<Match> matches;
  for (HitGroup& group : largestGroups(hits, kMaxCandidates)) {
    matches.push_back(scoreGroup(std::move(group)));
  }
  std::stable_sort(matches.begin(), matches.end(),
                   [](const Match& a, const Match& b) { return a.matched_num > b.matched_num; });
  return matches;
}

}  // namespace audio
