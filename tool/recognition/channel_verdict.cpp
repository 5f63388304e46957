#include "tool/recognition/channel_verdict.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <span>

#include "match/audio_matcher.h"
#include "match/database/packed_entry.h"
#include "match/scoring/offset_consensus.h"
#include "stream/stream_grid.h"

namespace audiomatch {
namespace {

/// The seconds from the place of a time code to what a channel plays now.
double secondsAgo(const OnAir& channel, std::uint32_t code) noexcept {
  const std::uint32_t update = channel.periods.update;
  const std::uint32_t codes = codesPerUpdate(channel.periods);
  // The latest analysis begins at its number's code, and what it has lies behind that.
  const std::uint32_t ahead = (audio::kBufferSeconds + update) * codes / update;
  const std::uint32_t since =
      (channel.latest * codes + ahead - code) & static_cast<std::uint32_t>(audio::kEntryTimeMask);
  const double seconds = (static_cast<double>(since) - ahead) / codes * update;
  return std::max(seconds + audio::kBufferSeconds, 0.0);
}

}  // namespace

ChannelAnswer judgeAttributes(const std::vector<audio::AudioFeature>& features,
                              const std::vector<audio::AudioAttribute>& attributes,
                              const Thresholds& thresholds,
                              const std::function<std::optional<OnAir>(std::uint32_t)>& on_air) {
  audio::AudioMatcher matcher;
  // With draws of its own: the same question gets the same answer.
  if (!matcher.forgetHistory()) throw std::bad_alloc();
  if (!matcher.matchAudioByFeaturesAndAttributes(features, attributes, nullptr)) {
    if (matcher.outcome() == audio::MatchOutcome::kOutOfMemory) throw std::bad_alloc();
    return {};
  }
  ChannelAnswer answer;
  answer.discrimination = static_cast<double>(matcher.discrimination());
  answer.level = matcher.discriminationLevel();
  for (const audio::Match& match : matcher.candidates()) {
    // The features that no channel has come as a candidate of their own.
    if (match.audio_index < 0) continue;
    const auto id = static_cast<std::uint32_t>(match.audio_index);
    const std::optional<OnAir> channel = on_air(id);
    answer.candidates.push_back(
        {id, channel ? channel->name : std::string(), match.hit_count, match.matched_num,
         channel ? secondsAgo(*channel, static_cast<std::uint32_t>(match.offset)) : 0.0,
         match.offset});
  }
  if (answer.candidates.empty()) return answer;
  answer.recognised =
      thresholds.recognise(answer.candidates[0].agreeing, answer.discrimination, features.size());
  return answer;
}

std::vector<ChannelHit> hitsOn(const OnAir& channel, const HeardOn& heard,
                               const std::vector<audio::AudioFeature>& features,
                               const std::vector<audio::AudioAttribute>& attributes) {
  const auto key = &audio::AudioFeature::hashKey;
  const auto offset = static_cast<std::uint32_t>(heard.offset);
  constexpr std::uint32_t kTolerance = audio::kOffsetTolerance;
  std::vector<ChannelHit> found;
  for (std::size_t at = 0; at < attributes.size();) {
    const std::uint32_t of = attributes[at].hashKey;
    const auto first = std::ranges::lower_bound(features, of, {}, key);
    const std::span sharing(first, std::ranges::upper_bound(first, features.end(), of, {}, key));
    if (sharing.empty()) break;
    std::size_t end = at;
    while (end < attributes.size() && attributes[end].hashKey == of) ++end;
    // Each of the features that share the key has as many.
    const std::size_t each = std::max((end - at) / sharing.size(), std::size_t{1});
    for (std::size_t i = at; i < end; ++i) {
      if (audio::entryAudioIndex(attributes[i].hashValue) != heard.id) continue;
      const std::size_t place = std::min((i - at) / each, sharing.size() - 1);
      const audio::AudioFeature& feature = sharing[place];
      const std::uint32_t distance =
          audio::entryTime(attributes[i].hashValue) - sharing.front().startTime;
      const std::uint32_t beyond = (distance - offset + kTolerance) & audio::kEntryTimeMask;
      found.push_back(
          {feature, secondsAgo(channel, distance + feature.startTime), beyond <= 2 * kTolerance});
    }
    at = end;
  }
  return found;
}

}  // namespace audiomatch
