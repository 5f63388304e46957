#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tool/recognition/live_channels.h"
#include "tool/store/redis_cluster.h"

namespace audiomatch {

/// What channels played of late, in a Redis Cluster: listeners write, servers read.
///
/// A bucket is a string of attributes, each with its channel, a tag of its session and the
/// second at which it expires; what nobody renews leaves by itself. One hash has the channels'
/// records. Any thread.
class RedisChannels {
 public:
  /// @param cluster  outlives this object
  /// @param bounds   of all that is in the cluster
  explicit RedisChannels(RedisCluster& cluster, const ChannelBounds& bounds = {})
      : cluster_(cluster), bounds_(bounds) {}

  /// As LiveChannels::apply; when it returns, a failing node takes nothing of it along. The same
  /// again changes nothing. Throws StoreError, and std::length_error when there is no room for it.
  Taken apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
              const std::vector<audio::AudioAttribute>& current);

  /// As LiveChannels::end. Throws StoreError.
  bool end(std::uint32_t id, const std::optional<std::string>& key = {});

  /// As LiveChannels::endSilent.
  std::vector<std::string> endSilent();

  /// The channels on air, by their numbers.
  std::vector<ChannelStatus> list();

  /// As LiveChannels::held, as last known; asks nobody.
  ChannelBounds held() const;

  /// The channel of a number, as it was at most a second ago; nothing when it isn't on air.
  std::optional<OnAir> onAir(std::uint32_t id) const;

  /// What a question asks the cluster for, and what comes of the replies.
  class Query {
   public:
    /// Appends its commands: the time and, now and then, the channels; then a bucket for each
    /// key.
    Query(RedisChannels& channels, const std::vector<audio::AudioFeature>& features,
          std::vector<RedisCommand>& commands);

    /// Reads the replies to these. False when a part of them is unavailable; without any clock
    /// of the store's nothing is found, as nobody knows what has expired. Throws
    /// std::length_error as AttributeCollector does.
    bool read(std::span<const RedisReply> replies, std::vector<audio::AudioAttribute>& found) const;

   private:
    RedisChannels& channels_;
    const std::vector<audio::AudioFeature>& features_;
    bool asks_for_channels_;
  };

 private:
  using Clock = std::chrono::steady_clock;

  struct Channel {
    OnAir on_air;
    std::uint16_t tag;
    ChannelStatus status;  // its times are of the moment of asking
  };
  using Channels = std::map<std::uint32_t, Channel>;

  /// The channels as they were at some time.
  struct Known {
    Clock::time_point when{};  // the beginning of time: none yet
    std::shared_ptr<const Channels> channels = std::make_shared<const Channels>();
  };

  Known latest() const;
  std::optional<double> timeOf(const RedisReply& time);
  static std::vector<ChannelStatus> statusesOf(const Channels& channels);
  std::shared_ptr<const Channels> learn(const RedisReply& channels, double now);
  std::shared_ptr<const Channels> ask();
  const RedisReply& require(const RedisReply& reply) const;
  bool end(std::uint32_t id, const std::string& key, const char* when);

  RedisCluster& cluster_;
  const ChannelBounds bounds_;
  mutable std::mutex mutex_;
  Known known_;
  std::optional<double> ahead_;  // the store's clock of ours in seconds, when it last told
};

}  // namespace audiomatch
