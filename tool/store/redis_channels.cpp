#include "tool/store/redis_channels.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/little_endian.h"
#include "match/database/packed_entry.h"
#include "tool/recognition/attribute_collector.h"
#include "tool/store/redis_commands.h"
#include "tool/store/redis_failure.h"
#include "tool/store/redis_scripts.h"
#include "tool/store/redis_slot.h"

namespace audiomatch {
namespace {

using Json = nlohmann::json;

constexpr const char* kChannels = "{audiomatch}:channels";  // by number: a record as JSON
constexpr const char* kHeld = "{audiomatch}:held";          // attributes of all of them together

// What noteScript says beside what Taken has.
constexpr std::int64_t kNoRoomForChannel = 3;
constexpr std::int64_t kNoRoomForAttributes = 4;

// What is known of the channels is asked for again after this.
constexpr std::chrono::seconds kKnownFor{1};

std::string bucketOf(std::uint32_t key) { return fmt::format("audiomatch:c:{}", key); }
std::string countsOf(std::uint32_t id) { return fmt::format("{{audiomatch}}:counts:{}", id); }

/// Tells the attributes of a session from those of the channel's other ones.
std::uint16_t tagOf(std::string_view session) noexcept { return redisChecksum(session); }

/// An attribute in a bucket: its head, of which the expiry is no part.
struct LiveRecord {
  static constexpr std::size_t kHead = 8;
  static constexpr std::size_t kBytes = 12;

  std::uint32_t id;
  std::uint16_t tag;
  std::uint16_t time;

  explicit LiveRecord(const char* bytes) noexcept
      : id(audio::loadLittleEndian<std::uint32_t>(bytes)),
        tag(audio::loadLittleEndian<std::uint16_t>(bytes + 4)),
        time(audio::loadLittleEndian<std::uint16_t>(bytes + 6)) {}
  LiveRecord(std::uint32_t channel, std::uint16_t session, std::uint64_t entry) noexcept
      : id(channel), tag(session), time(static_cast<std::uint16_t>(audio::entryTime(entry))) {}

  void appendTo(std::string& heads) const {
    char bytes[kHead];
    audio::storeLittleEndian(id, bytes);
    audio::storeLittleEndian(tag, bytes + 4);
    audio::storeLittleEndian(time, bytes + 6);
    heads.append(bytes, kHead);
  }
};

/// The reply of TIME in seconds.
double secondsIn(const RedisReply& reply) {
  double seconds = 0.0;
  double scale = 1.0;
  for (const RedisReply& part : reply.list) {
    std::int64_t number = 0;
    std::from_chars(part.text.data(), part.text.data() + part.text.size(), number);
    seconds += static_cast<double>(number) * scale;
    scale = 1e-6;
  }
  return seconds;
}

double numberAt(const Json& record, const char* key) {
  const auto place = record.find(key);
  return place != record.end() && place->is_number() ? place->get<double>() : 0.0;
}

std::string textAt(const Json& record, const char* key) {
  const auto place = record.find(key);
  return place != record.end() && place->is_string() ? place->get<std::string>() : std::string();
}

}  // namespace

const RedisReply& RedisChannels::require(const RedisReply& reply) const {
  return requireRedisReply(reply, cluster_.url());
}

Taken RedisChannels::apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
                           const std::vector<audio::AudioAttribute>& current) {
  const Json described = {{"session", session.key},
                          {"name", session.name},
                          {"update", session.periods.update},
                          {"monitor", session.periods.monitor}};
  const RedisCommand note[] = {redisScriptCommand(
      noteScript(), {kChannels, countsOf(id), kHeld},
      {std::to_string(id), described.dump(-1, ' ', false, Json::error_handler_t::replace),
       std::to_string(analysis), std::to_string(current.size()), std::to_string(bounds_.channels),
       std::to_string(bounds_.attributes)})};
  const RedisReply noted = cluster_.runDurably(note)[0];
  const std::vector<RedisReply>& reply = require(noted).list;
  if (reply.at(0).number == kNoRoomForChannel) throw std::length_error(kTooManyChannels);
  if (reply.at(0).number == kNoRoomForAttributes) throw std::length_error(kTooManyAttributes);
  const auto taken = static_cast<Taken>(reply.at(0).number);
  if (taken == Taken::kReplaced) return taken;
  std::map<std::uint32_t, std::string> heads;
  for (const audio::AudioAttribute& attribute : current) {
    LiveRecord(id, tagOf(session.key), attribute.hashValue).appendTo(heads[attribute.hashKey]);
  }
  const std::string expiry = std::to_string(reply.at(1).number);
  std::vector<RedisCommand> commands;
  commands.reserve(heads.size());
  for (auto& [key, list] : heads) {
    commands.push_back(
        redisScriptCommand(insertLiveScript(), {bucketOf(key)}, {expiry, std::move(list)}));
  }
  for (const RedisReply& done : cluster_.runDurably(commands)) require(done);
  if (taken == Taken::kBegins) {
    // The next question here is to know of it.
    const std::lock_guard lock(mutex_);
    known_.when = {};
  }
  return taken;
}

bool RedisChannels::end(std::uint32_t id, const std::string& key, const char* when) {
  const RedisCommand ending[] = {redisScriptCommand(endScript(), {kChannels, countsOf(id), kHeld},
                                                    {std::to_string(id), key, when})};
  return require(cluster_.runDurably(ending)[0]).number == 1;
}

bool RedisChannels::end(std::uint32_t id, const std::optional<std::string>& key) {
  const bool ended = end(id, key.value_or(""), "");
  if (ended) ask();
  return ended;
}

std::vector<std::string> RedisChannels::endSilent() {
  std::vector<std::string> ended;
  const std::shared_ptr<const Channels> channels = ask();
  for (const auto& [id, channel] : *channels) {
    if (channel.status.seconds_since < channel.on_air.periods.monitor) continue;
    if (end(id, "", "silent")) ended.push_back(channel.on_air.name);
  }
  if (!ended.empty()) ask();
  return ended;
}

std::vector<ChannelStatus> RedisChannels::list() { return statusesOf(*ask()); }

std::vector<ChannelStatus> RedisChannels::statusesOf(const Channels& channels) {
  std::vector<ChannelStatus> all;
  for (const auto& [id, channel] : channels) all.push_back(channel.status);
  return all;
}

ChannelBounds RedisChannels::held() const {
  const std::shared_ptr<const Channels> channels = latest().channels;
  std::size_t attributes = 0;
  for (const auto& [id, channel] : *channels) attributes += channel.status.attributes;
  return {channels->size(), attributes};
}

std::optional<OnAir> RedisChannels::onAir(std::uint32_t id) const {
  const Known known = latest();
  const auto place = known.channels->find(id);
  return place == known.channels->end() ? std::nullopt : std::optional(place->second.on_air);
}

RedisChannels::Known RedisChannels::latest() const {
  const std::lock_guard lock(mutex_);
  return known_;
}

std::shared_ptr<const RedisChannels::Channels> RedisChannels::ask() {
  const RedisCommand commands[] = {redisCommand({"TIME"}, kChannels),
                                   redisCommand({"HGETALL", kChannels})};
  const std::vector<RedisReply> replies = cluster_.run(commands);
  return learn(require(replies[1]), timeOf(require(replies[0])).value_or(0.0));
}

/// The store's time that a reply tells, or that there is as it last told it. Nothing when it
/// never did.
std::optional<double> RedisChannels::timeOf(const RedisReply& time) {
  const std::chrono::duration<double> here = Clock::now().time_since_epoch();
  const std::lock_guard lock(mutex_);
  if (!time.isUnavailable()) ahead_ = secondsIn(time) - here.count();
  return ahead_ ? std::optional(here.count() + *ahead_) : std::nullopt;
}

/// Reads the records of the channels, at some time of the store's.
std::shared_ptr<const RedisChannels::Channels> RedisChannels::learn(const RedisReply& channels,
                                                                    double now) {
  auto learnt = std::make_shared<Channels>();
  for (std::size_t i = 0; i + 1 < channels.list.size(); i += 2) {
    std::uint32_t id = 0;
    const std::string& number = channels.list[i].text;
    std::from_chars(number.data(), number.data() + number.size(), id);
    const auto record = Json::parse(channels.list[i + 1].text, nullptr, false);
    if (!record.is_object()) continue;
    const std::string name = textAt(record, "name");
    const ChannelPeriods periods{
        std::max(static_cast<std::uint32_t>(numberAt(record, "update")), 1u),
        static_cast<std::uint32_t>(numberAt(record, "monitor"))};
    const double latest = std::max(numberAt(record, "latest"), 0.0);
    const double last = numberAt(record, "last");
    const double lag = last - numberAt(record, "first") - latest * periods.update;
    learnt->emplace(id, Channel{{name, periods, static_cast<std::uint32_t>(latest)},
                                tagOf(textAt(record, "session")),
                                {id, name, static_cast<std::uint64_t>(numberAt(record, "analyses")),
                                 static_cast<std::size_t>(numberAt(record, "attributes")),
                                 std::max(now - last, 0.0), std::max(lag, 0.0)}});
  }
  const std::lock_guard lock(mutex_);
  known_ = {Clock::now(), learnt};
  return learnt;
}

RedisChannels::Query::Query(RedisChannels& channels,
                            const std::vector<audio::AudioFeature>& features,
                            std::vector<RedisCommand>& commands)
    : channels_(channels),
      features_(features),
      asks_for_channels_(Clock::now() - channels.latest().when > kKnownFor) {
  commands.push_back(redisCommand({"TIME"}, kChannels));
  if (asks_for_channels_) commands.push_back(redisCommand({"HGETALL", kChannels}));
  for (std::size_t i = 0; i < features.size(); ++i) {
    if (i > 0 && features[i].hashKey == features[i - 1].hashKey) continue;
    commands.push_back(redisCommand({"GET", bucketOf(features[i].hashKey)}));
  }
}

bool RedisChannels::Query::read(std::span<const RedisReply> replies,
                                std::vector<audio::AudioAttribute>& found) const {
  std::size_t next = 0;
  const RedisReply& time = channels_.require(replies[next++]);
  bool is_whole = !time.isUnavailable();
  // Without any clock all may have expired.
  const double now = channels_.timeOf(time).value_or(std::numeric_limits<double>::infinity());
  std::shared_ptr<const Channels> known = channels_.latest().channels;
  if (asks_for_channels_) {
    const RedisReply& list = channels_.require(replies[next++]);
    if (is_whole && !list.isUnavailable()) known = channels_.learn(list, now);
    is_whole = is_whole && !list.isUnavailable();
  }
  AttributeCollector collector;
  std::vector<std::uint64_t> entries;
  for (std::size_t i = 0; i < features_.size(); ++i) {
    if (i == 0 || features_[i].hashKey != features_[i - 1].hashKey) {
      const RedisReply& bucket = channels_.require(replies[next++]);
      is_whole = is_whole && !bucket.isUnavailable();
      entries.clear();
      for (std::size_t at = 0; at + LiveRecord::kBytes <= bucket.text.size();
           at += LiveRecord::kBytes) {
        const LiveRecord record(bucket.text.data() + at);
        const auto expires =
            audio::loadLittleEndian<std::uint32_t>(bucket.text.data() + at + LiveRecord::kHead);
        const auto channel = known->find(record.id);
        if (channel == known->end() || channel->second.tag != record.tag || expires <= now) {
          continue;
        }
        entries.push_back(audio::packEntry(record.id, record.time));
      }
      // Those of a channel stay as they came.
      std::ranges::stable_sort(entries, {}, audio::entryAudioIndex);
    }
    collector.take(features_[i], entries);
  }
  found = collector.finish();
  return is_whole;
}

}  // namespace audiomatch
