#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/analysis_grid.h"
#include "feature/audio_feature.h"
#include "match/audio_attribute.h"
#include "tool/recognition/verdict.h"

namespace audiomatch {

/// How often a channel is analysed, and how long its attributes live.
struct ChannelPeriods {
  std::uint32_t update = 1;    ///< seconds
  std::uint32_t monitor = 60;  ///< seconds, a multiple of `update`

  friend bool operator==(const ChannelPeriods&, const ChannelPeriods&) = default;
};

/// Frames by which a channel's time code goes on from one analysis to the next.
constexpr std::uint32_t codesPerUpdate(const ChannelPeriods& periods) noexcept {
  return periods.update * audio::kAnalysisRate / audio::kHopSamples + 1;
}

/// A channel that is on air, as far as an answer needs to know it.
struct OnAir {
  std::string name;
  ChannelPeriods periods;
  std::uint32_t latest;  ///< number of its latest analysis
};

/// A channel on which a recording may have been heard.
struct HeardOn {
  std::uint32_t id;
  std::string name;
  std::int32_t hits;      ///< features of the recording that the channel played, at any time
  std::int32_t agreeing;  ///< those of them that agree on one time
  /// That the recording began, by the channel's time; modulo the time code's, some 512 s.
  double seconds_ago;
  std::int32_t offset;  ///< the same as the channel's time code less the recording's
};

/// A feature of a recording that a channel played too.
struct ChannelHit {
  audio::AudioFeature feature;
  double seconds_ago;  ///< that the channel played it
  bool agrees;         ///< on the time at which the recording was heard
};

/// Where a recording was heard.
struct ChannelAnswer {
  bool recognised = false;
  std::vector<HeardOn> candidates;  ///< best first; empty when no channel has a feature of it
  double discrimination = 0.0;      ///< the engine's, of the best from the second best channel
  int level = 0;                    ///< the engine's
};

/// Says on which channel a recording was heard. Throws std::bad_alloc.
///
/// @param attributes  what the channels have of the features, as AttributeIndex gives it
/// @param on_air      the channel of a number; nothing when it has ended meanwhile
ChannelAnswer judgeAttributes(const std::vector<audio::AudioFeature>& features,
                              const std::vector<audio::AudioAttribute>& attributes,
                              const Thresholds& thresholds,
                              const std::function<std::optional<OnAir>(std::uint32_t)>& on_air);

/// The hits of a recording on a channel on which it was heard. Throws std::bad_alloc.
///
/// @param attributes  what `judgeAttributes` was given
std::vector<ChannelHit> hitsOn(const OnAir& channel, const HeardOn& heard,
                               const std::vector<audio::AudioFeature>& features,
                               const std::vector<audio::AudioAttribute>& attributes);

}  // namespace audiomatch
