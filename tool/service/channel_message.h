#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "match/audio_attribute.h"
#include "tool/recognition/live_channels.h"

namespace audiomatch {

/// Analyses of one channel, as a listener sends them to a server.
struct ChannelMessage {
  struct Analysis {
    std::uint32_t number;  ///< from 0 on
    std::vector<audio::AudioAttribute> attributes;
  };

  ChannelSession session;
  std::vector<Analysis> analyses;
};

/// Most seconds that a server remembers of a channel, most analyses of a message,
/// most attributes of all of these, and most bytes of a channel's name and of a
/// session's.
inline constexpr std::uint32_t kLongestMonitor = 3600;
inline constexpr std::size_t kMostAnalyses = 256;
inline constexpr std::size_t kMostAttributes = 100'000;
inline constexpr std::size_t kLongestName = 1000;
inline constexpr std::size_t kLongestSession = 64;

/// A message as JSON: {"name", "session", "update", "monitor", "analyses":
/// [{"number", "attributes": [[time, hashKey], ...]}, ...]}, times being the 14
/// bits of time code in an attribute.
std::string encodeMessage(const ChannelMessage& message);

/// The reverse. Throws HttpError: 400 for what isn't one, 413 for what is beyond the
/// bounds.
ChannelMessage decodeMessage(const std::string& body);

}  // namespace audiomatch
