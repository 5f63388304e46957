#include "tool/recognition/channel_feed.h"

#include <fmt/core.h>
#include <poll.h>

#include <chrono>
#include <memory>
#include <new>
#include <utility>

#include "stream/stream_attribute_extractor.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/recording.h"
#include "tool/input/sound_source.h"
#include "tool/output/messages.h"

namespace audiomatch {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kPacketsPerSecond = 5;

/// Waits as long as a packet would take to come. False when a signal came.
bool waitUntil(Clock::time_point time) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
  pollfd watched{interruptDescriptor(), POLLIN, 0};
  return poll(&watched, 1, left > 0 ? static_cast<int>(left) : 0) == 0;
}

/// Feeds one channel packet by packet.
class Feed {
 public:
  Feed(SoundSource& source, const std::string& name, std::uint32_t id, ChannelSink& sink,
       const ChannelPeriods& periods)
      : source_(source),
        name_(name),
        sink_(sink),
        packet_(source.sampleRate() / kPacketsPerSecond) {
    if (!extractor_.init(id, periods.update, periods.monitor, source.sampleRate(),
                         source.channels(), packet_)) {
      throw std::bad_alloc();
    }
  }

  /// False at the end.
  bool next() {
    samples_.clear();
    if (source_.read(samples_, packet_) < packet_) return false;
    const auto sound = toAudio(samples_, source_.channels(), source_.sampleRate());
    if (!extractor_.update(sound.get())) throw std::bad_alloc();
    const auto analysis = extractor_.lastAnalysis();
    if (analysis && sink_.take(*analysis, extractor_.currentAttributes())) note(name_ + ": on air");
    return true;
  }

 private:
  SoundSource& source_;
  const std::string& name_;
  ChannelSink& sink_;
  std::uint32_t packet_;
  audio::StreamAttributeExtractor extractor_;
  std::vector<std::int16_t> samples_;
};

bool isFile(const ChannelInput& input) {
  std::error_code error;
  return std::filesystem::is_regular_file(input.input, error);
}

std::unique_ptr<SoundSource> openChannel(const ChannelInput& input, const FeedOptions& options) {
  if (input.input == "-") return openStandardInput(options.raw, options.sound);
  if (isFile(input)) return openSound(input.input, options.sound);
  return openNamedPipe(input.input, options.raw, options.sound);
}

/// Feeds a channel to its end, or until a signal comes: then it returns false.
bool feedAll(SoundSource& source, const ChannelInput& input, std::uint32_t id, ChannelSink& sink,
             const FeedOptions& options) {
  const bool in_its_time = isFile(input);
  const Clock::time_point start = Clock::now();
  Feed feed(source, input.name, id, sink, options.periods);
  bool is_told = false;
  while (feed.next()) {
    // At once, since a channel may go on for days.
    if (!is_told && source.damage()) {
      reportDamage(input.input, source.damage());
      is_told = true;
    }
    const std::chrono::duration<double> played(static_cast<double>(source.position()) /
                                               source.sampleRate() / options.speed);
    const auto due = start + std::chrono::duration_cast<Clock::duration>(played);
    if (!waitUntil(in_its_time ? due : Clock::now())) return false;
  }
  if (!is_told) reportDamage(input.input, source.damage());
  return true;
}

}  // namespace

ChannelInput parseChannel(const std::string& argument) {
  const std::size_t equals = argument.find('=');
  if (equals != std::string::npos && equals > 0) {
    return {argument.substr(0, equals), argument.substr(equals + 1)};
  }
  return {std::filesystem::path(argument).stem().string(), argument};
}

ExitCode feedChannel(const ChannelInput& input, std::uint32_t id, ChannelSink& sink,
                     const FeedOptions& options) {
  std::unique_ptr<SoundSource> source;
  try {
    source = openChannel(input, options);
    if (feedAll(*source, input, id, sink, options)) note(input.name + ": has ended");
  } catch (const Interrupted&) {
    // So has everything been.
  }
  return source && source->damage() ? ExitCode::kLeftOut : ExitCode::kSuccess;
}

}  // namespace audiomatch
