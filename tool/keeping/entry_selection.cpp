#include "tool/keeping/entry_selection.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "feature/audio_feature.h"

namespace audiomatch {
namespace {

// Of 32 ms, so a second and a little.
constexpr std::uint32_t kFramesPerSecond = 32;

/// A feature with its place in the order in which entries are chosen.
struct Candidate {
  std::uint32_t rank;  // within its second
  std::uint64_t hash;
  audio::AudioFeature feature;

  auto order() const noexcept { return std::tuple(rank, hash, feature.hashKey, feature.startTime); }
};

std::uint64_t hashOf(const audio::AudioFeature& feature) noexcept {
  return splitMix64(std::uint64_t{feature.hashKey} << 32 | feature.startTime);
}

/// The features by hash, each ranked among those of its second.
std::vector<Candidate> ranked(const std::vector<audio::AudioFeature>& features) {
  std::vector<Candidate> candidates;
  candidates.reserve(features.size());
  for (const audio::AudioFeature& feature : features) {
    candidates.push_back({0, hashOf(feature), feature});
  }
  const auto by_order = [](const Candidate& a, const Candidate& b) {
    return a.order() < b.order();
  };
  std::sort(candidates.begin(), candidates.end(), by_order);
  std::map<std::uint32_t, std::uint32_t> ranks;
  for (Candidate& candidate : candidates) {
    candidate.rank = ranks[candidate.feature.startTime / kFramesPerSecond]++;
  }
  return candidates;
}

}  // namespace

std::uint64_t splitMix64(std::uint64_t x) noexcept {
  x += 0x9E3779B97F4A7C15u;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
  return x ^ (x >> 31);
}

void selectEntries(std::vector<audio::AudioFeature>& features, std::size_t most) {
  audio::sortUnique(features);
  if (features.size() <= most) return;
  std::vector<Candidate> candidates = ranked(features);
  const auto end = candidates.begin() + static_cast<std::ptrdiff_t>(most);
  std::nth_element(candidates.begin(), end, candidates.end(),
                   [](const Candidate& a, const Candidate& b) { return a.order() < b.order(); });
  features.clear();
  for (auto kept = candidates.begin(); kept != end; ++kept) features.push_back(kept->feature);
  audio::sortUnique(features);
}

}  // namespace audiomatch
