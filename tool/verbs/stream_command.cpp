#include <fmt/core.h>

#include <csignal>
#include <memory>
#include <string>

#include "base/analysis_grid.h"
#include "stream/stream_attribute_extractor.h"
#include "stream/stream_grid.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/rate_reducer.h"
#include "tool/input/recording.h"
#include "tool/input/sound_source.h"
#include "tool/output/text.h"
#include "tool/verbs/commands.h"

namespace audiomatch {
namespace {

constexpr const char* kStreamHelp =
    "Prints a line for each analysis, at once: its time, how many attributes it gave and how many\n"
    "expired; with --json the attributes themselves. Ends with exit code 0 at the end of its\n"
    "input, on SIGINT or SIGTERM, and when nobody reads its output. A last packet that isn't full\n"
    "isn't analysed.\n\n";

struct StreamOptions {
  CommonOptions common;
  SoundOptions sound;
  std::uint32_t id = 0;
  std::uint32_t update = 1;
  std::uint32_t monitor = 10;
  std::uint32_t packet_ms = 200;
  std::uint32_t rate = 8000;
  std::uint32_t channels = 1;
  bool shape_given = false;
  std::string input;

  bool fromPipe() const { return input == "-"; }
};

nlohmann::ordered_json asJson(const std::vector<audio::AudioAttribute>& attributes) {
  auto list = nlohmann::ordered_json::array();
  for (const audio::AudioAttribute& attribute : attributes) {
    list.push_back({{"hashValue", attribute.hashValue}, {"hashKey", attribute.hashKey}});
  }
  return list;
}

std::string jsonOf(const audio::StreamAttributeExtractor& extractor, std::uint64_t packet,
                   double seconds) {
  return jsonLine({{"packet", packet},
                   {"seconds", seconds},
                   {"attributes", asJson(extractor.currentAttributes())},
                   {"expired", asJson(extractor.expiredAttributes())}});
}

std::string lineOf(const audio::StreamAttributeExtractor& extractor, double seconds) {
  return fmt::format("{:>10}  {:>5} attributes, {:>5} expired\n", clockTime(seconds),
                     extractor.currentAttributes().size(), extractor.expiredAttributes().size());
}

/// Samples per channel of a packet.
std::uint32_t packetLength(const StreamOptions& options, std::uint32_t sampleRate) {
  const std::uint64_t milliseconds = std::uint64_t{sampleRate} * options.packet_ms;
  return static_cast<std::uint32_t>((milliseconds + 500) / 1000);
}

void checkPeriods(const StreamOptions& options, std::uint32_t sampleRate, std::uint32_t length) {
  if (options.monitor % options.update != 0) {
    throw UsageError("--monitor must be a multiple of --update");
  }
  if (length == 0 || !audio::streamGrid(options.update, options.monitor, sampleRate, length)) {
    throw UsageError(
        fmt::format("--update must hold at least one packet and at most the {} seconds analysed",
                    audio::kBufferSeconds));
  }
}

/// Feeds packets to the extractor and prints each analysis, until one side or
/// the user ends it.
void streamPackets(SoundSource& source, const StreamOptions& options, const InterruptGuard& guard) {
  const std::uint32_t rate = source.sampleRate();
  const std::uint32_t length = packetLength(options, rate);
  checkPeriods(options, rate, length);
  audio::StreamAttributeExtractor extractor;
  if (!extractor.init(options.id, options.update, options.monitor, rate, source.channels(),
                      length)) {
    throw std::bad_alloc();
  }
  std::vector<std::int16_t> samples;
  std::uint64_t packet = 1;
  for (; source.read(samples, length) == length; ++packet, samples.clear()) {
    if (!extractor.update(toAudio(samples, source.channels(), rate).get())) throw std::bad_alloc();
    if (!extractor.lastAnalysis()) continue;
    const double seconds = static_cast<double>((packet - 1) * length) / rate;
    const bool written = writeLine(
        options.common.json ? jsonOf(extractor, packet, seconds) : lineOf(extractor, seconds),
        guard);
    if (!written) return;
  }
  if (options.common.verbose && !samples.empty()) {
    note(fmt::format("the last {} samples don't fill packet {} and aren't analysed",
                     samples.size() / source.channels(), packet),
         options.input);
  }
}

ExitCode runStream(const StreamOptions& options) {
  applyCommonOptions(options.common);
  if (options.shape_given && !options.fromPipe()) {
    throw UsageError("--rate and --channels describe standard input; a file tells its own");
  }
  const InterruptGuard guard;
  // A reader that has gone shows when a line is written.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    const std::unique_ptr<SoundSource> source =
        options.fromPipe()
            ? openStandardInput(RawFormat{options.rate, options.channels}, options.sound)
            : openSound(options.input, options.sound);
    streamPackets(*source, options, guard);
    return reportDamage(options.input, source->damage());
  } catch (const Interrupted&) {
    // The user has seen enough.
  }
  return ExitCode::kSuccess;
}

}  // namespace

void addStreamCommand(const Command& app, Action& action) {
  auto options = std::make_shared<StreamOptions>();
  const Command command =
      app.subcommand("stream", "Turn a stream into attributes, packet by packet");
  command.argument("FILE", options->input, "Sound file, or - for raw PCM on standard input")
      .required();
  const auto number = [&](const char* name, std::uint32_t& value, std::uint32_t least,
                          std::uint32_t most, const char* help) {
    return command.option(name, value, help).check(between(least, most)).valueName("N");
  };
  number("--id", options->id, 0, UINT32_MAX - 1, "Identifier that every attribute carries")
      .required();
  number("--update", options->update, 1, 86400,
         "Seconds from one analysis to the next, at most the 5 analysed (default 1)");
  number("--monitor", options->monitor, 1, 86400,
         "Seconds after which attributes expire, a multiple of --update (default 10)");
  number("--packet-ms", options->packet_ms, 1, 10000, "Milliseconds of a packet (default 200)");
  const Option rate = number("--rate", options->rate, audio::kLowestRate, kHighestReducibleRate,
                             "Hz of standard input (default 8000)");
  const Option channels =
      number("--channels", options->channels, 1, 1024, "Channels of standard input (default 1)");
  addSoundOptions(command, options->sound);
  addCommonOptions(command, options->common, "Print JSON, an object a line, instead of text");
  command.footer(std::string(kStreamHelp) + kExitCodesHelp);
  command.whenParsed([=, &action] {
    options->shape_given = rate.isGiven() || channels.isGiven();
    action = [options] { return runStream(*options); };
  });
}

}  // namespace audiomatch
