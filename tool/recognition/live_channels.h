#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "feature/audio_feature.h"
#include "match/audio_attribute.h"
#include "match/audio_matcher.h"
#include "tool/recognition/attribute_index.h"
#include "tool/recognition/verdict.h"

namespace audiomatch {

/// A channel on which a recording may have been heard.
struct HeardOn {
  std::uint32_t id;
  std::string name;
  std::int32_t hits;      ///< features of the recording that the channel played, at any time
  std::int32_t agreeing;  ///< those of them that agree on one time
  double seconds_ago;     ///< that the recording began, by the channel's time
};

/// Where a recording was heard.
struct ChannelAnswer {
  bool recognised = false;
  std::vector<HeardOn> candidates;  ///< best first; empty when no channel has a feature of it
  double discrimination = 0.0;      ///< the engine's, of the best from the second best channel
  int level = 0;                    ///< the engine's
};

/// How often a channel is analysed, and how long its attributes live.
struct ChannelPeriods {
  std::uint32_t update = 1;    ///< seconds
  std::uint32_t monitor = 60;  ///< seconds, a multiple of `update`

  friend bool operator==(const ChannelPeriods&, const ChannelPeriods&) = default;
};

/// What a channel goes by, from when somebody begins to listen to it until he ends.
struct ChannelSession {
  std::string name;
  ChannelPeriods periods;
  std::string key;  ///< another one for each session

  friend bool operator==(const ChannelSession&, const ChannelSession&) = default;
};

/// A channel that is on air.
struct ChannelStatus {
  std::uint32_t id;
  std::string name;
  std::uint64_t analyses;  ///< that have come
  std::size_t attributes;  ///< that are live
  double seconds_since;    ///< the latest analysis came
  double lag;              ///< seconds that it came late, against the first
};

/// What any number of channels played of late. Any thread, at any time.
class LiveChannels {
 public:
  using Clock = std::chrono::steady_clock;

  explicit LiveChannels(const Thresholds& thresholds) : thresholds_(thresholds) {}

  /// Takes an analysis of a channel, which is then on air. Those that are older
  /// than its monitor time are forgotten; one that has come before changes
  /// nothing. Another session begins the channel anew. Throws std::bad_alloc.
  ///
  /// @param id        below 2^32 - 1, by which the engine tells that there is no match
  /// @param analysis  its number, from 0 on
  /// @param current   its attributes; whatever stream they name, they are the channel's
  /// @return whether the session has begun with it
  bool apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
             std::vector<audio::AudioAttribute> current);

  /// Forgets what a channel played, when it has ended. False when it wasn't on air.
  bool end(std::uint32_t id);

  /// Ends the channels of which nothing came for as long as their attributes
  /// live; returns their names.
  std::vector<std::string> endSilent();

  /// How many are on air, and whether one is.
  std::size_t count() const;
  bool has(std::uint32_t id) const;

  /// The channels on air, by their identifiers.
  std::vector<ChannelStatus> list() const;

  /// Says on which channel a recording was heard. Throws std::bad_alloc.
  ChannelAnswer find(const std::vector<audio::AudioFeature>& features) const;

 private:
  struct Analysis {
    std::uint32_t number;
    std::vector<audio::AudioAttribute> attributes;
  };

  struct Channel {
    ChannelSession session;
    Clock::time_point first{};  // analysis came, or would have come
    Clock::time_point last{};
    std::uint64_t count = 0;            // of the analyses that have come
    std::deque<Analysis> remembered{};  // oldest first
    std::size_t attributes = 0;         // of these
  };

  HeardOn heardOn(const audio::Match& match) const;
  void expire(Channel& channel, std::uint32_t analysis);

  Thresholds thresholds_;
  AttributeIndex index_;
  mutable std::mutex mutex_;
  std::map<std::uint32_t, Channel> channels_;
};

}  // namespace audiomatch
