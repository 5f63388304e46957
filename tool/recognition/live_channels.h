#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "feature/audio_feature.h"
#include "match/audio_attribute.h"
#include "tool/recognition/attribute_index.h"
#include "tool/recognition/channel_verdict.h"
#include "tool/recognition/verdict.h"

namespace audiomatch {

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

/// Most channels that are on air at a time, and most attributes of all of them
/// together: of ten thousand a minute each.
struct ChannelBounds {
  std::size_t channels = 10'000;
  std::size_t attributes = 100'000'000;
};

/// What is wrong when there is no room, whoever keeps the channels.
inline constexpr const char* kTooManyChannels = "as many channels are on air as there can be";
inline constexpr const char* kTooManyAttributes =
    "as much of the channels is remembered as there is room for";

/// What becomes of an analysis of a channel.
enum class Taken {
  kBegins,    ///< it is on air, the first of its session
  kGoesOn,    ///< it is on air, or has been
  kReplaced,  ///< it isn't: another session has taken the channel over
};

/// What any number of channels played of late. Any thread, at any time.
class LiveChannels {
 public:
  using Clock = std::chrono::steady_clock;

  explicit LiveChannels(const Thresholds& thresholds, const ChannelBounds& bounds = {})
      : thresholds_(thresholds), bounds_(bounds) {}

  /// Takes an analysis of a channel, which is then on air. Those that are older
  /// than its monitor time are forgotten; one that has come before changes
  /// nothing. Another session takes the channel over and begins it anew, but for
  /// the latest ones that were replaced so themselves. Throws std::length_error
  /// when there is no room for it, and std::bad_alloc; nothing has changed then.
  ///
  /// @param id        at most 2^31 - 1: the engine's audio indices are signed
  /// @param analysis  its number, from 0 on
  /// @param current   its attributes; whatever stream they name, they are the channel's
  /// @param when      it came
  Taken apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
              std::vector<audio::AudioAttribute> current, Clock::time_point when = Clock::now());

  /// Whether an analysis of a channel's session is among those that it has attributes of.
  bool remembers(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis) const;

  /// Forgets what a channel played, when it has ended. False when it wasn't on air.
  ///
  /// @param key  of the session that ends; none for any
  bool end(std::uint32_t id, const std::optional<std::string>& key = {});

  /// Ends the channels of which nothing came for as long as their attributes
  /// live; returns their numbers and names.
  std::vector<std::pair<std::uint32_t, std::string>> endSilent();

  /// How many are on air, and how many attributes of them are live.
  ChannelBounds held() const;

  /// The channels on air, by their identifiers.
  std::vector<ChannelStatus> list() const;

  /// What the channels have of features, as AttributeIndex gives it, and throwing as it does.
  std::vector<audio::AudioAttribute> lookUp(
      const std::vector<audio::AudioFeature>& features) const {
    return index_.lookUp(features);
  }

  /// The channel of a number; nothing when it isn't on air.
  std::optional<OnAir> onAir(std::uint32_t id) const;

  /// Says on which channel a recording was heard. Throws std::length_error as
  /// AttributeIndex::lookUp does, and std::bad_alloc.
  ChannelAnswer find(const std::vector<audio::AudioFeature>& features) const;

 private:
  struct Analysis {
    std::uint32_t number;
    std::vector<std::uint32_t> keys;  // of its attributes, sorted
  };

  struct Channel {
    ChannelSession session;
    std::deque<std::string> replaced{};  // keys of sessions before it, oldest first
    Clock::time_point last{};            // analysis came
    double first = 0.0;                  // came, or would have come, by the clock's seconds
    std::uint64_t count = 0;             // of the analyses that have come
    std::deque<Analysis> remembered{};   // oldest first, at least one
    std::size_t attributes = 0;          // of these
  };

  using Channels = std::map<std::uint32_t, Channel>;

  Taken begin(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
              const std::vector<audio::AudioAttribute>& current, Clock::time_point when);
  Taken goOn(Channels::value_type& place, std::uint32_t analysis,
             const std::vector<audio::AudioAttribute>& current, Clock::time_point when);
  void append(Channels::value_type& place, std::uint32_t analysis,
              const std::vector<audio::AudioAttribute>& current, Clock::time_point when);
  void forgetOldest(Channels::value_type& place) noexcept;
  void forget(Channels::iterator place) noexcept;
  void expectRoom(std::size_t coming, std::size_t leaving) const;
  static bool isSilent(const Channel& channel);
  std::vector<std::uint32_t> silent() const;

  Thresholds thresholds_;
  ChannelBounds bounds_;
  AttributeIndex index_;
  mutable std::mutex mutex_;
  Channels channels_;
  std::size_t attributes_ = 0;  // of all of them
};

}  // namespace audiomatch
