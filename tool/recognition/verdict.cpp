#include "tool/recognition/verdict.h"

#include <algorithm>

namespace audiomatch {
namespace {

double discriminationOf(const std::vector<Candidate>& candidates) noexcept {
  const double best = candidates[0].agreeing;
  const double second = candidates.size() > 1 ? candidates[1].agreeing : 0.0;
  return best > 0 ? (best - second) / (best + second) : 0.0;
}

}  // namespace

std::int32_t Thresholds::needed(std::size_t features) const noexcept {
  return agreeing + static_cast<std::int32_t>(features / kFeaturesPerAgreeing);
}

bool Thresholds::isPlenty(std::int32_t agreeing_features, std::size_t features) const noexcept {
  return agreeing_features / kPlenty >= needed(features);
}

bool Thresholds::recognise(std::int32_t agreeing_features, double discriminates,
                           std::size_t features) const noexcept {
  return agreeing_features >= needed(features) &&
         (discriminates >= discrimination || isPlenty(agreeing_features, features));
}

std::int32_t Thresholds::leastRival(std::int32_t agreeing_features) const noexcept {
  const double lead = std::max(discrimination, 0.5);
  return std::max(1, static_cast<std::int32_t>(agreeing_features * (1.0 - lead) / (1.0 + lead)));
}

Verdict judge(std::span<const audio::Match> matches, std::size_t features,
              const ReferenceNames& names, const Thresholds& thresholds) {
  Verdict verdict;
  for (const audio::Match& match : matches) {
    if (names.recording(match.audio_index) < 0) continue;
    Candidate candidate{names.name(match.audio_index), match.audio_index, match.hit_count,
                        match.matched_num, match.offset + names.startFrame(match.audio_index)};
    if (std::ranges::find(verdict.candidates, candidate.name, &Candidate::name) ==
        verdict.candidates.end()) {
      verdict.candidates.push_back(std::move(candidate));
    }
  }
  if (verdict.candidates.empty()) return verdict;
  verdict.discrimination = discriminationOf(verdict.candidates);
  verdict.recognised =
      thresholds.recognise(verdict.candidates[0].agreeing, verdict.discrimination, features);
  return verdict;
}

}  // namespace audiomatch
