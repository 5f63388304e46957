#include "tool/recognition/live_channels.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace audiomatch {
namespace {

// Sessions of a channel that are known to have been replaced. Each is told so when it
// speaks again, after which it speaks no more.
constexpr std::size_t kMostReplaced = 16;

/// What a clock shows, wider than its own counts: analyses may be numbered up to 2^32.
double secondsOf(LiveChannels::Clock::time_point when) noexcept {
  return std::chrono::duration<double>(when.time_since_epoch()).count();
}

std::vector<std::uint32_t> keysOf(const std::vector<audio::AudioAttribute>& attributes) {
  std::vector<std::uint32_t> keys(attributes.size());
  std::ranges::transform(attributes, keys.begin(), &audio::AudioAttribute::hashKey);
  return keys;
}

}  // namespace

Taken LiveChannels::apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
                          std::vector<audio::AudioAttribute> current, Clock::time_point when) {
  std::ranges::stable_sort(current, {}, &audio::AudioAttribute::hashKey);
  const std::lock_guard lock(mutex_);
  const auto place = channels_.find(id);
  if (place == channels_.end()) return begin(id, session, analysis, current, when);
  const Channel& channel = place->second;
  if (channel.session == session) return goOn(*place, analysis, current, when);
  const bool was_replaced = std::ranges::count(channel.replaced, session.key) > 0;
  return was_replaced ? Taken::kReplaced : begin(id, session, analysis, current, when);
}

/// Puts a channel on air, in place of the session that it has.
Taken LiveChannels::begin(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
                          const std::vector<audio::AudioAttribute>& current,
                          Clock::time_point when) {
  const auto before = channels_.find(id);
  const bool is_more = before == channels_.end();
  if (is_more && channels_.size() >= bounds_.channels) {
    throw std::length_error(kTooManyChannels);
  }
  expectRoom(current.size(), is_more ? 0 : before->second.attributes);
  // Made apart, so that a failure changes nothing.
  Channels made;
  Channel& channel = made.try_emplace(id, Channel{.session = session}).first->second;
  if (!is_more) {
    channel.replaced = before->second.replaced;
    if (before->second.session.key != session.key) {
      channel.replaced.push_back(before->second.session.key);
    }
    if (channel.replaced.size() > kMostReplaced) channel.replaced.pop_front();
  }
  append(*made.begin(), analysis, current, when);
  channel.first = secondsOf(when) - static_cast<double>(analysis) * session.periods.update;
  if (!is_more) forget(before);
  channels_.insert(made.extract(id));
  return Taken::kBegins;
}

/// Forgets what is older than the monitor time when an analysis comes.
Taken LiveChannels::goOn(Channels::value_type& place, std::uint32_t analysis,
                         const std::vector<audio::AudioAttribute>& current,
                         Clock::time_point when) {
  Channel& channel = place.second;
  if (analysis <= channel.remembered.back().number) return Taken::kGoesOn;
  const ChannelPeriods& periods = channel.session.periods;
  const std::uint32_t slots = periods.monitor / periods.update;
  std::size_t expired = 0;
  std::size_t leaving = 0;
  for (const Analysis& each : channel.remembered) {
    if (analysis - each.number < slots) break;
    ++expired;
    leaving += each.keys.size();
  }
  expectRoom(current.size(), leaving);
  append(place, analysis, current, when);
  for (; expired > 0; --expired) forgetOldest(place);
  return Taken::kGoesOn;
}

/// Remembers an analysis; when it throws, nothing has changed.
void LiveChannels::append(Channels::value_type& place, std::uint32_t analysis,
                          const std::vector<audio::AudioAttribute>& current,
                          Clock::time_point when) {
  auto& [id, channel] = place;
  channel.remembered.push_back({analysis, keysOf(current)});
  try {
    index_.add(id, current);
  } catch (...) {
    channel.remembered.pop_back();
    throw;
  }
  channel.last = when;
  ++channel.count;
  channel.attributes += current.size();
  attributes_ += current.size();
}

void LiveChannels::forgetOldest(Channels::value_type& place) noexcept {
  auto& [id, channel] = place;
  const std::vector<std::uint32_t>& keys = channel.remembered.front().keys;
  index_.remove(id, keys);
  channel.attributes -= keys.size();
  attributes_ -= keys.size();
  channel.remembered.pop_front();
}

void LiveChannels::forget(Channels::iterator place) noexcept {
  while (!place->second.remembered.empty()) forgetOldest(*place);
  channels_.erase(place);
}

void LiveChannels::expectRoom(std::size_t coming, std::size_t leaving) const {
  if (attributes_ - leaving + coming > bounds_.attributes) {
    throw std::length_error(kTooManyAttributes);
  }
}

bool LiveChannels::remembers(std::uint32_t id, const ChannelSession& session,
                             std::uint32_t analysis) const {
  const std::lock_guard lock(mutex_);
  const auto place = channels_.find(id);
  if (place == channels_.end() || place->second.session != session) return false;
  const std::deque<Analysis>& remembered = place->second.remembered;
  const auto at = std::ranges::lower_bound(remembered, analysis, {}, &Analysis::number);
  return at != remembered.end() && at->number == analysis;
}

bool LiveChannels::end(std::uint32_t id, const std::optional<std::string>& key) {
  const std::lock_guard lock(mutex_);
  const auto place = channels_.find(id);
  if (place == channels_.end() || (key && *key != place->second.session.key)) return false;
  forget(place);
  return true;
}

std::vector<std::pair<std::uint32_t, std::string>> LiveChannels::endSilent() {
  std::vector<std::pair<std::uint32_t, std::string>> ended;
  // One by one, so that others needn't wait for all of them.
  for (const std::uint32_t id : silent()) {
    const std::lock_guard lock(mutex_);
    const auto place = channels_.find(id);
    if (place == channels_.end() || !isSilent(place->second)) continue;
    ended.emplace_back(id, place->second.session.name);
    forget(place);
  }
  return ended;
}

/// Whether nothing came for as long as its attributes live.
bool LiveChannels::isSilent(const Channel& channel) {
  return Clock::now() - channel.last >= std::chrono::seconds{channel.session.periods.monitor};
}

std::vector<std::uint32_t> LiveChannels::silent() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::uint32_t> ids;
  for (const auto& [id, channel] : channels_) {
    if (isSilent(channel)) ids.push_back(id);
  }
  return ids;
}

ChannelBounds LiveChannels::held() const {
  const std::lock_guard lock(mutex_);
  return {channels_.size(), attributes_};
}

std::vector<ChannelStatus> LiveChannels::list() const {
  using Seconds = std::chrono::duration<double>;
  const std::lock_guard lock(mutex_);
  std::vector<ChannelStatus> all;
  const Clock::time_point now = Clock::now();
  for (const auto& [id, channel] : channels_) {
    const std::uint32_t latest = channel.remembered.back().number;
    const double due = static_cast<double>(latest) * channel.session.periods.update;
    const double lag = secondsOf(channel.last) - channel.first - due;
    all.push_back({id, channel.session.name, channel.count, channel.attributes,
                   Seconds(now - channel.last).count(), std::max(lag, 0.0)});
  }
  return all;
}

std::optional<OnAir> LiveChannels::onAir(std::uint32_t id) const {
  const std::lock_guard lock(mutex_);
  const auto place = channels_.find(id);
  if (place == channels_.end()) return {};
  const Channel& channel = place->second;
  return OnAir{channel.session.name, channel.session.periods, channel.remembered.back().number};
}

ChannelAnswer LiveChannels::find(const std::vector<audio::AudioFeature>& features) const {
  return judgeAttributes(features, lookUp(features), thresholds_,
                         [this](std::uint32_t id) { return onAir(id); });
}

}  // namespace audiomatch
