#include "tool/keeping/rated_features.h"

#include <algorithm>
#include <cstddef>
#include <tuple>

#include "feature/audio_land_mark_finder.h"

namespace audiomatch {
namespace {

// To either side of a frame.
constexpr std::size_t kFramesAround = 78;

/// The mean level of the peaks around each frame; logarithms are only added, so
/// that it is the same everywhere.
std::vector<float> levelsAround(const audio::AudioLandMarkFinderBase& finder) {
  const auto& peaks = finder.getPeaks();
  std::vector<double> sums{0.0};
  std::vector<std::size_t> counts{0};
  sums.reserve(peaks.size() + 1);
  counts.reserve(peaks.size() + 1);
  for (const auto& frame : peaks) {
    double sum = sums.back();
    for (const audio::LocalMaxRecorder& peak : frame) sum += static_cast<double>(peak.value);
    sums.push_back(sum);
    counts.push_back(counts.back() + frame.size());
  }
  std::vector<float> levels(peaks.size());
  for (std::size_t frame = 0; frame < peaks.size(); ++frame) {
    const std::size_t begin = frame - std::min(frame, kFramesAround);
    const std::size_t end = std::min(frame + kFramesAround + 1, peaks.size());
    const std::size_t count = counts[end] - counts[begin];
    if (count == 0) continue;
    levels[frame] = static_cast<float>((sums[end] - sums[begin]) / static_cast<double>(count));
  }
  return levels;
}

}  // namespace

std::vector<RatedFeature> ratedFeatures(const audio::FeatureExtractor& extractor) {
  const audio::AudioLandMarkFinderBase& finder = *extractor.finder();
  const float* const matrix = finder.spectrogramMatrix();
  const auto level = [&](std::int32_t frame, std::int32_t bin) {
    return matrix[static_cast<std::size_t>(frame) * finder.binNum() +
                  static_cast<std::size_t>(bin)];
  };
  const std::vector<float> around = levelsAround(finder);
  std::vector<RatedFeature> rated;
  rated.reserve(finder.getLandMarks().size());
  for (const audio::LandMark& pair : finder.getLandMarks()) {
    const float weaker = std::min(level(pair.anchorTime, pair.anchorFreq),
                                  level(pair.anchorTime + pair.deltaTime, pair.targetFreq));
    rated.push_back({{static_cast<std::uint32_t>(pair.anchorTime), audio::hashLandMark(pair)},
                     weaker,
                     around[static_cast<std::size_t>(pair.anchorTime)]});
  }
  const auto place = [](const RatedFeature& each) {
    return std::tuple(each.feature.hashKey, each.feature.startTime);
  };
  std::ranges::sort(rated, {}, place);
  const auto same = [&](const RatedFeature& a, const RatedFeature& b) {
    return place(a) == place(b);
  };
  rated.erase(std::unique(rated.begin(), rated.end(), same), rated.end());
  return rated;
}

}  // namespace audiomatch
