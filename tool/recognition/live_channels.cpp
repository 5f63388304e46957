#include "tool/recognition/live_channels.h"

#include <new>
#include <utility>

#include "base/analysis_grid.h"
#include "match/audio_matcher.h"
#include "match/database/packed_entry.h"
#include "stream/stream_grid.h"

namespace audiomatch {
namespace {

/// Frames by which the time code goes on from one analysis to the next.
std::uint32_t codesPerUpdate(const ChannelPeriods& periods) noexcept {
  return periods.update * audio::kAnalysisRate / audio::kHopSamples + 1;
}

void give(std::vector<audio::AudioAttribute>& attributes, std::size_t channel) {
  for (audio::AudioAttribute& attribute : attributes) {
    attribute.hashValue = audio::packEntry(static_cast<std::uint32_t>(channel),
                                           audio::entryTime(attribute.hashValue));
  }
}

}  // namespace

LiveChannels::LiveChannels(std::vector<std::string> names, const ChannelPeriods& periods,
                           const Thresholds& thresholds)
    : names_(std::move(names)),
      periods_(periods),
      thresholds_(thresholds),
      analyses_(names_.size()) {}

void LiveChannels::apply(std::size_t channel, std::uint32_t analysis,
                         std::vector<audio::AudioAttribute> current,
                         std::vector<audio::AudioAttribute> expired) {
  give(current, channel);
  give(expired, channel);
  index_.apply(current, expired);
  const std::lock_guard lock(mutex_);
  analyses_[channel] = analysis;
}

ChannelAnswer LiveChannels::find(const std::vector<audio::AudioFeature>& features) const {
  audio::AudioMatcher matcher;
  // With draws of its own: the same question gets the same answer.
  if (!matcher.forgetHistory()) throw std::bad_alloc();
  const std::vector<audio::AudioAttribute> found = index_.lookUp(features);
  if (!matcher.matchAudioByFeaturesAndAttributes(features, found, nullptr)) {
    if (matcher.outcome() == audio::MatchOutcome::kOutOfMemory) throw std::bad_alloc();
    return {};
  }
  const audio::Match& best = matcher.candidates()[0];
  const auto channel = static_cast<std::size_t>(best.audio_index);
  const auto discrimination = static_cast<double>(matcher.discrimination());
  return {thresholds_.recognise(best.matched_num, discrimination, features.size()), names_[channel],
          best.matched_num, discrimination, secondsSince(channel, best.offset)};
}

/// Seconds from the place on which a recording agrees with a channel to what
/// the channel plays now.
double LiveChannels::secondsSince(std::size_t channel, std::int32_t offset) const {
  std::uint32_t latest = 0;
  {
    const std::lock_guard lock(mutex_);
    latest = analyses_[channel];
  }
  const std::uint32_t codes = codesPerUpdate(periods_);
  const std::uint32_t since = (latest * codes - static_cast<std::uint32_t>(offset)) &
                              static_cast<std::uint32_t>(audio::kEntryTimeMask);
  return static_cast<double>(since) / codes * periods_.update + audio::kBufferSeconds;
}

}  // namespace audiomatch
