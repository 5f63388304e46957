#include "tool/recognition/live_channels.h"

#include <algorithm>
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

void give(std::vector<audio::AudioAttribute>& attributes, std::uint32_t channel) {
  for (audio::AudioAttribute& attribute : attributes) {
    attribute.hashValue = audio::packEntry(channel, audio::entryTime(attribute.hashValue));
  }
}

}  // namespace

bool LiveChannels::apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
                         std::vector<audio::AudioAttribute> current) {
  give(current, id);
  const std::lock_guard lock(mutex_);
  const bool is_new = !channels_.contains(id) || channels_.at(id).session != session;
  if (is_new) {
    index_.forget(id);
    channels_.insert_or_assign(id, Channel{.session = session});
  }
  Channel& channel = channels_.at(id);
  if (!channel.remembered.empty() && analysis <= channel.remembered.back().number) return false;
  expire(channel, analysis);
  index_.apply(current, {});
  channel.last = Clock::now();
  if (channel.count == 0) {
    channel.first = channel.last - std::chrono::seconds{analysis * session.periods.update};
  }
  ++channel.count;
  channel.attributes += current.size();
  channel.remembered.push_back({analysis, std::move(current)});
  return is_new;
}

/// Forgets what is older than the monitor time when an analysis comes.
void LiveChannels::expire(Channel& channel, std::uint32_t analysis) {
  const ChannelPeriods& periods = channel.session.periods;
  const std::uint32_t slots = periods.monitor / periods.update;
  while (!channel.remembered.empty() && analysis - channel.remembered.front().number >= slots) {
    const std::vector<audio::AudioAttribute>& oldest = channel.remembered.front().attributes;
    index_.apply({}, oldest);
    channel.attributes -= oldest.size();
    channel.remembered.pop_front();
  }
}

bool LiveChannels::end(std::uint32_t id) {
  const std::lock_guard lock(mutex_);
  if (channels_.erase(id) == 0) return false;
  index_.forget(id);
  return true;
}

std::vector<std::string> LiveChannels::endSilent() {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> ended;
  for (auto place = channels_.begin(); place != channels_.end();) {
    const Channel& channel = place->second;
    if (Clock::now() - channel.last < std::chrono::seconds{channel.session.periods.monitor}) {
      ++place;
      continue;
    }
    index_.forget(place->first);
    ended.push_back(channel.session.name);
    place = channels_.erase(place);
  }
  return ended;
}

std::size_t LiveChannels::count() const {
  const std::lock_guard lock(mutex_);
  return channels_.size();
}

bool LiveChannels::has(std::uint32_t id) const {
  const std::lock_guard lock(mutex_);
  return channels_.contains(id);
}

std::vector<ChannelStatus> LiveChannels::list() const {
  using Seconds = std::chrono::duration<double>;
  const std::lock_guard lock(mutex_);
  std::vector<ChannelStatus> all;
  const Clock::time_point now = Clock::now();
  for (const auto& [id, channel] : channels_) {
    const std::uint32_t latest = channel.remembered.back().number;
    const Seconds due{static_cast<double>(latest) * channel.session.periods.update};
    const Seconds lag = channel.last - channel.first - due;
    all.push_back({id, channel.session.name, channel.count, channel.attributes,
                   Seconds(now - channel.last).count(), std::max(lag.count(), 0.0)});
  }
  return all;
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
  ChannelAnswer answer;
  answer.discrimination = static_cast<double>(matcher.discrimination());
  answer.level = matcher.discriminationLevel();
  for (const audio::Match& match : matcher.candidates()) {
    // The features that no channel has come as a candidate of their own.
    if (match.audio_index >= 0) answer.candidates.push_back(heardOn(match));
  }
  if (answer.candidates.empty()) return answer;
  answer.recognised =
      thresholds_.recognise(answer.candidates[0].agreeing, answer.discrimination, features.size());
  return answer;
}

/// With the seconds from the place on which a recording agrees with a channel to
/// what the channel plays now.
HeardOn LiveChannels::heardOn(const audio::Match& match) const {
  const auto id = static_cast<std::uint32_t>(match.audio_index);
  HeardOn heard{id, {}, match.hit_count, match.matched_num, 0.0};
  const std::lock_guard lock(mutex_);
  const auto place = channels_.find(id);
  // It may have ended meanwhile.
  if (place == channels_.end()) return heard;
  const Channel& channel = place->second;
  const ChannelPeriods& periods = channel.session.periods;
  const std::uint32_t codes = codesPerUpdate(periods);
  const std::uint32_t latest = channel.remembered.back().number;
  const std::uint32_t since = (latest * codes - static_cast<std::uint32_t>(match.offset)) &
                              static_cast<std::uint32_t>(audio::kEntryTimeMask);
  heard.name = channel.session.name;
  heard.seconds_ago = static_cast<double>(since) / codes * periods.update + audio::kBufferSeconds;
  return heard;
}

}  // namespace audiomatch
