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
  Feed(SoundSource& source, std::size_t channel, LiveChannels& channels)
      : source_(source),
        channel_(channel),
        channels_(channels),
        packet_(source.sampleRate() / kPacketsPerSecond) {
    const auto& [update, monitor] = channels.periods();
    if (!extractor_.init(static_cast<std::uint32_t>(channel), update, monitor, source.sampleRate(),
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
    if (!analysis) return true;
    channels_.apply(channel_, *analysis, extractor_.currentAttributes(),
                    extractor_.expiredAttributes());
    if (*analysis == 0) note(channels_.name(channel_) + ": on air");
    return true;
  }

 private:
  SoundSource& source_;
  std::size_t channel_;
  LiveChannels& channels_;
  std::uint32_t packet_;
  audio::StreamAttributeExtractor extractor_;
  std::vector<std::int16_t> samples_;
};

std::unique_ptr<SoundSource> openChannel(const ChannelInput& input, const FeedOptions& options) {
  if (input.input == "-") return openStandardInput(options.raw);
  std::error_code error;
  if (std::filesystem::is_regular_file(input.input, error)) return openSound(input.input);
  return openNamedPipe(input.input, options.raw);
}

}  // namespace

ChannelInput parseChannel(const std::string& argument) {
  const std::size_t equals = argument.find('=');
  if (equals != std::string::npos && equals > 0) {
    return {argument.substr(0, equals), argument.substr(equals + 1)};
  }
  return {std::filesystem::path(argument).stem().string(), argument};
}

void feedChannel(const ChannelInput& input, std::size_t channel, LiveChannels& channels,
                 const FeedOptions& options) {
  try {
    const std::unique_ptr<SoundSource> source = openChannel(input, options);
    std::error_code error;
    const bool in_its_time = std::filesystem::is_regular_file(input.input, error);
    const Clock::time_point start = Clock::now();
    Feed feed(*source, channel, channels);
    while (feed.next()) {
      const std::chrono::duration<double> played(static_cast<double>(source->position()) /
                                                 source->sampleRate() / options.speed);
      const auto due = start + std::chrono::duration_cast<Clock::duration>(played);
      if (in_its_time ? !waitUntil(due) : !waitUntil(Clock::now())) return;
    }
    channels.end(channel);
    note(input.name + ": has ended");
  } catch (const Interrupted&) {
    // So has everything.
  }
}

}  // namespace audiomatch
