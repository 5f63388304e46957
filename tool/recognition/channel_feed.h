#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tool/base/errors.h"
#include "tool/input/raw_format.h"
#include "tool/input/sound_source.h"
#include "tool/recognition/live_channels.h"

namespace audiomatch {

/// A channel as the user names it.
struct ChannelInput {
  std::string name;
  std::filesystem::path input;  ///< a sound file, a named pipe, or - for standard input
};

/// The channel that an argument stands for: NAME=INPUT, or INPUT alone, which
/// is then called after its file.
ChannelInput parseChannel(const std::string& argument);

/// Where the analyses of a channel go.
class ChannelSink {
 public:
  virtual ~ChannelSink() = default;

  /// Takes an analysis: its number, from 0 on, and its attributes. Returns true
  /// when the channel is on air with it. Throws std::bad_alloc.
  virtual bool take(std::uint32_t analysis, const std::vector<audio::AudioAttribute>& current) = 0;
};

/// How channels are fed.
struct FeedOptions {
  std::optional<RawFormat> raw;  ///< of pipes; none for sound files through pipes
  double speed = 1.0;            ///< of files: they play in their own time, or faster
  ChannelPeriods periods;
  SoundOptions sound;
};

/// Feeds a channel until its input ends or a signal comes, and says when it is
/// on air, when it is damaged, and when it ends. Throws FileError and std::bad_alloc.
///
/// @param id  of its attributes
/// @return kLeftOut when something damaged was left out
ExitCode feedChannel(const ChannelInput& input, std::uint32_t id, ChannelSink& sink,
                     const FeedOptions& options);

}  // namespace audiomatch
