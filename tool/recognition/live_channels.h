#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "feature/audio_feature.h"
#include "match/audio_attribute.h"
#include "tool/recognition/attribute_index.h"
#include "tool/recognition/verdict.h"

namespace audiomatch {

/// Where a recording was heard.
struct ChannelAnswer {
  bool recognised = false;
  std::string name;  ///< of the best channel; empty when none has a feature of it
  std::int32_t agreeing = 0;
  double discrimination = 0.0;  ///< from the second best channel
  double seconds_ago = 0.0;     ///< that the recording began, by the channel's time
};

/// How often a channel is analysed, and how long its attributes live.
struct ChannelPeriods {
  std::uint32_t update = 1;    ///< seconds
  std::uint32_t monitor = 60;  ///< seconds, a multiple of `update`
};

/// What any number of channels played of late. Any thread, at any time.
class LiveChannels {
 public:
  /// @param names  of the channels, whose numbers are their stream identifiers
  LiveChannels(std::vector<std::string> names, const ChannelPeriods& periods,
               const Thresholds& thresholds);

  const ChannelPeriods& periods() const noexcept { return periods_; }
  const std::string& name(std::size_t channel) const { return names_[channel]; }

  /// Takes a channel's analysis: what has come, what has expired, and its
  /// number, from 0 on. Whatever stream the attributes name, they are the
  /// channel's.
  void apply(std::size_t channel, std::uint32_t analysis,
             std::vector<audio::AudioAttribute> current,
             std::vector<audio::AudioAttribute> expired);

  /// Forgets what a channel played, when it has ended.
  void end(std::size_t channel) { index_.forget(static_cast<std::uint32_t>(channel)); }

  /// Says on which channel a recording was heard. Throws std::bad_alloc.
  ChannelAnswer find(const std::vector<audio::AudioFeature>& features) const;

 private:
  double secondsSince(std::size_t channel, std::int32_t offset) const;

  std::vector<std::string> names_;
  ChannelPeriods periods_;
  Thresholds thresholds_;
  AttributeIndex index_;
  mutable std::mutex mutex_;
  std::vector<std::uint32_t> analyses_;  // the number of each channel's latest
};

}  // namespace audiomatch
