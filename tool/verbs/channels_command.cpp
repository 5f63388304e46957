#include <fmt/core.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "feature/feature_extractor.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/input_lines.h"
#include "tool/input/recording.h"
#include "tool/output/display_text.h"
#include "tool/output/messages.h"
#include "tool/output/text.h"
#include "tool/recognition/channel_feed.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kChannelsHelp =
    "Follows channels, each a named pipe that sound comes from, or a sound file, which plays in\n"
    "its own time. Through a pipe a sound file may come, or raw samples with --rate, --channels\n"
    "or --format. The recordings to be recognised are named on standard input, a file a line,\n"
    "and each is answered at once: on which channel it was heard, and how long ago it began. Of\n"
    "a longer recording the last ten seconds count. Ends with standard input, or by SIGINT.\n\n";

// More wouldn't agree: a channel's time code runs a little faster than time.
constexpr double kHeardSeconds = 10.0;

constexpr std::uint32_t kDay = 86400;  // in seconds

struct ChannelsOptions {
  CommonOptions common;
  std::vector<std::string> channels;
  Thresholds thresholds = kThresholds;
  RawFormat raw;
  FeedOptions feed;
};

/// What of a recording is asked for.
struct Question {
  std::vector<audio::AudioFeature> features;
  std::optional<Damage> damage;
};

/// The features of a recording's last seconds.
Question readQuestion(const std::string& file, const SoundOptions& options) {
  const std::unique_ptr<SoundSource> source = openSound(file, options);
  const auto most = static_cast<std::size_t>(kHeardSeconds * source->sampleRate());
  std::vector<std::int16_t> samples;
  while (source->read(samples, most) == most) {
    const std::size_t kept = most * source->channels();
    samples.erase(samples.begin(), samples.end() - static_cast<std::ptrdiff_t>(kept));
  }
  const std::size_t kept = std::min(samples.size(), most * source->channels());
  samples.erase(samples.begin(), samples.end() - static_cast<std::ptrdiff_t>(kept));
  if (samples.empty()) throw FileError(file, "holds no sound");
  audio::FeatureExtractor extractor;
  const auto recording = toAudio(samples, source->channels(), source->sampleRate());
  if (!extractor.init(false) || !extractor.loadAudio(recording.get())) throw std::bad_alloc();
  if (extractor.extractFeatures()) return {extractor.getFeatures(), source->damage()};
  // Silence is a question, too, with an easy answer.
  if (isAnalysable(extractor.outcome())) return {{}, source->damage()};
  throw FileError(file, describe(extractor.outcome()));
}

std::string jsonOf(const std::string& file, const ChannelAnswer& answer, const std::string& error) {
  const HeardOn best = answer.candidates.empty() ? HeardOn{} : answer.candidates[0];
  return jsonLine(
      {{"file", file},
       {"name", best.name},
       {"recognised", answer.recognised},
       {"agreeing", best.agreeing},
       {"name_discrimination", thousandths(answer.discrimination)},
       {"seconds_ago", thousandths(best.seconds_ago)},
       {"error", error.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(error)}});
}

std::string lineOf(const std::string& file, const ChannelAnswer& answer) {
  if (answer.candidates.empty()) return printable(file) + ": on no channel\n";
  const HeardOn& best = answer.candidates[0];
  if (!answer.recognised) {
    return fmt::format("{}: on no channel (best: {}, {} features agree)\n", printable(file),
                       printable(best.name), best.agreeing);
  }
  return fmt::format("{}: on {}, {:.0f} s ago ({} features agree)\n", printable(file),
                     printable(best.name), best.seconds_ago, best.agreeing);
}

/// Answers one question, with the line that is printed.
ExitCode answerOne(const std::string& file, const LiveChannels& channels,
                   const ChannelsOptions& options, std::string& line) {
  ExitCode code = ExitCode::kSuccess;
  ChannelAnswer answer;
  std::string problem;
  try {
    const auto [features, damage] = readQuestion(file, options.feed.sound);
    code = reportDamage(file, damage);
    if (!features.empty()) answer = channels.find(features);
    if (!answer.recognised) code = worse(code, ExitCode::kNoMatch);
  } catch (const FileError& error) {
    report(error);
    code = ExitCode::kFailure;
    problem = error.what();
  }
  if (options.common.json) line = jsonOf(file, answer, problem);
  if (!options.common.json && problem.empty()) line = lineOf(file, answer);
  return code;
}

/// Answers what standard input names, until it ends.
ExitCode answerAll(const LiveChannels& channels, const ChannelsOptions& options,
                   const InterruptGuard& guard) {
  ExitCode code = ExitCode::kSuccess;
  InputLines lines(guard);
  while (const std::optional<std::string> file = lines.next()) {
    std::string line;
    code = worse(code, answerOne(*file, channels, options, line));
    if (!writeLine(line, guard)) break;
  }
  return code;
}

/// Puts one channel on air, and takes it off in the end.
class OnAir : public ChannelSink {
 public:
  OnAir(LiveChannels& channels, std::uint32_t id, ChannelSession session)
      : channels_(channels), id_(id), session_(std::move(session)) {}
  ~OnAir() override { channels_.end(id_); }

  bool take(std::uint32_t analysis, const std::vector<audio::AudioAttribute>& current) override {
    return channels_.apply(id_, session_, analysis, current) == Taken::kBegins;
  }

 private:
  LiveChannels& channels_;
  std::uint32_t id_;
  ChannelSession session_;
};

/// Threads that feed the channels; they end with their inputs, or the signal that ends all.
class Feeds {
 public:
  Feeds(const std::vector<ChannelInput>& inputs, LiveChannels& channels, const FeedOptions& options,
        const InterruptGuard& guard)
      : guard_(guard) {
    for (std::uint32_t id = 0; id < inputs.size(); ++id) {
      threads_.emplace_back([this, input = inputs[id], id, &channels, options] {
        try {
          OnAir on_air(channels, id, {input.name, options.periods, {}});
          hasCome(feedChannel(input, id, on_air, options));
        } catch (const FileError& error) {
          report(error);
          hasCome(ExitCode::kFailure);
        } catch (const std::exception& error) {
          report(error.what(), input.input);
          hasCome(ExitCode::kFailure);
        }
      });
    }
  }

  Feeds(const Feeds&) = delete;
  Feeds& operator=(const Feeds&) = delete;
  ~Feeds() { finish(); }

  /// Ends all of them.
  ExitCode finish() {
    guard_.raise();
    threads_.clear();
    return worst_;
  }

 private:
  void hasCome(ExitCode code) {
    const std::lock_guard lock(mutex_);
    worst_ = worse(worst_, code);
  }

  const InterruptGuard& guard_;
  std::mutex mutex_;
  ExitCode worst_ = ExitCode::kSuccess;
  std::vector<std::jthread> threads_;
};

ExitCode runChannels(const ChannelsOptions& options) {
  applyCommonOptions(options.common);
  std::vector<ChannelInput> inputs;
  std::set<std::string> names;
  for (const std::string& argument : options.channels) {
    inputs.push_back(parseChannel(argument));
    if (!names.insert(inputs.back().name).second) {
      throw UsageError(inputs.back().name + ": two channels have that name; give NAME=INPUT");
    }
  }
  if (options.feed.periods.monitor % options.feed.periods.update != 0) {
    throw UsageError("--monitor must be a multiple of --update");
  }
  const InterruptGuard guard;
  std::signal(SIGPIPE, SIG_IGN);
  LiveChannels channels(options.thresholds);
  Feeds feeds(inputs, channels, options.feed, guard);
  const ExitCode code = answerAll(channels, options, guard);
  return worse(code, feeds.finish());
}

}  // namespace

void addChannelsCommand(const Command& app, Action& action) {
  auto options = std::make_shared<ChannelsOptions>();
  const Command command =
      app.subcommand("channels", "Say on which live channel a recording is heard");
  command.argument("[NAME=]INPUT", options->channels, "Channels: named pipes or sound files")
      .required();
  addFeedOptions(command, options->feed, kDay);
  addThresholdOptions(command, options->thresholds);
  const auto raw_given = addRawOptions(command, options->raw, "pipes");
  addSoundOptions(command, options->feed.sound);
  addCommonOptions(command, options->common, "Print JSON, an object a line, instead of text");
  command.footer(std::string(kChannelsHelp) + kExitCodesHelp);
  command.whenParsed([=, &action] {
    if (raw_given()) options->feed.raw = options->raw;
    action = [options] { return runChannels(*options); };
  });
}

}  // namespace audiomatch
