#include "tool/recognition/heard_features.h"

#include <algorithm>
#include <cstdlib>

#include "feature/land_mark.h"
#include "match/scoring/offset_consensus.h"

namespace audiomatch {
namespace {

// A feature that agrees by chance stands alone. Where a recording is heard, two
// seconds hold at least this many, and this share of all.
constexpr std::size_t kLeastCompany = 3;
constexpr std::size_t kCompanyShare = 20;
constexpr std::int32_t kCompanyFrames = 63;

/// The first value with company behind it; the first at all, where none has.
std::int32_t firstInCompany(const std::vector<std::int32_t>& ascending) {
  const std::size_t company = std::max(kLeastCompany, ascending.size() / kCompanyShare);
  for (std::size_t i = 0; i + company <= ascending.size(); ++i) {
    if (ascending[i + company - 1] - ascending[i] <= kCompanyFrames) return ascending[i];
  }
  return ascending.front();
}

/// The frames in which a recording's features were heard.
struct Heard {
  std::vector<std::int32_t> offsets;
  std::vector<std::int32_t> anchors;
  std::vector<std::int32_t> targets_back;  // negative, so that the last comes first

  void note(const audio::AudioFeature& feature, std::int32_t offset) {
    const auto anchor = static_cast<std::int32_t>(feature.startTime);
    const std::int32_t delta = audio::landMarkOfHash(feature.hashKey).deltaTime;
    offsets.push_back(offset);
    anchors.push_back(anchor);
    targets_back.push_back(-(anchor + delta));
  }
};

}  // namespace

Agreement agreementAt(std::span<const audio::AudioFeature> features, const FoundHits& found,
                      std::int32_t recording, std::int32_t offset) {
  Heard heard;
  for (std::size_t i = 0; i < features.size(); ++i) {
    for (const audio::AudioHashHit& hit : found.of(i)) {
      if (found.names->recording(hit.audio_index) != recording) continue;
      const std::int32_t heard_at = hit.time_offset + found.names->startFrame(hit.audio_index);
      if (std::abs(heard_at - offset) > audio::kOffsetTolerance) continue;
      heard.note(features[i], heard_at);
      break;
    }
  }
  if (heard.offsets.empty()) return {};
  std::ranges::sort(heard.offsets);
  std::ranges::sort(heard.anchors);
  std::ranges::sort(heard.targets_back);
  return {static_cast<std::int32_t>(heard.offsets.size()), heard.offsets[heard.offsets.size() / 2],
          firstInCompany(heard.anchors), -firstInCompany(heard.targets_back)};
}

}  // namespace audiomatch
