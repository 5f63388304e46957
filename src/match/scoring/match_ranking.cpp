#include "match/scoring/match_ranking.h"

#include <algorithm>
#include <cfloat>
#include <utility>

#include "match/scoring/hit_groups.h"
#include "match/scoring/offset_consensus.h"

namespace audio {
namespace {

constexpr std::uint32_t kMaxIterations = 60;

Match scoreGroup(HitGroup group, RandomDraws& draws) {
  const std::size_t hit_count = group.hitCount();
  const Agreement agreement = countConsistentHits(std::move(group.offsets), kMaxIterations, draws);
  const float ratio =
      static_cast<float>(agreement.count) / (static_cast<float>(hit_count) + FLT_EPSILON);
  return {group.audio_index, static_cast<std::int32_t>(agreement.count), static_cast<double>(ratio),
          static_cast<std::int32_t>(hit_count), agreement.offset};
}

}  // namespace

std::vector<Match> rankMatches(std::span<const AudioHashHit> hits, RandomDraws& draws) {
  std::vector<Match> matches;
  for (HitGroup& group : largestGroups(hits, kMaxCandidates)) {
    matches.push_back(scoreGroup(std::move(group), draws));
  }
  std::stable_sort(matches.begin(), matches.end(),
                   [](const Match& a, const Match& b) { return a.matched_num > b.matched_num; });
  return matches;
}

}  // namespace audio
