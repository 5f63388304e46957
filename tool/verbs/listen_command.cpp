#include <fmt/core.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <random>
#include <string>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/output/display_text.h"
#include "tool/output/messages.h"
#include "tool/output/text.h"
#include "tool/recognition/channel_feed.h"
#include "tool/service/access.h"
#include "tool/service/channel_message.h"
#include "tool/service/http_client.h"
#include "tool/service/uplink.h"
#include "tool/store/open_store.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kListenHelp =
    "Sends what a channel plays to a server, so that it knows recordings of it: the attributes\n"
    "of a sound file, which plays in its own time, of a named pipe, or of standard input (-).\n"
    "Through a pipe a sound file may come, or raw samples with --rate, --channels or --format.\n"
    "While the server is away they wait. Says once a minute what it has done. At the end, or by\n"
    "SIGINT or SIGTERM, the channel is taken off air.\n\n";

struct ListenOptions {
  CommonOptions common;
  std::string input = "-";
  std::filesystem::path token_file;
  UplinkTarget target;
  RawFormat raw;
  FeedOptions feed;
};

/// Another one for each run.
std::string newSession() {
  std::random_device random;
  return fmt::format("{:08x}{:08x}", random(), random());
}

/// Passes analyses on, and says once a minute what was done.
class Reporting : public ChannelSink {
 public:
  Reporting(Uplink& uplink, const InterruptGuard& guard, const ListenOptions& options)
      : uplink_(uplink), guard_(guard), options_(options) {}

  bool take(std::uint32_t analysis, const std::vector<audio::AudioAttribute>& current) override {
    uplink_.take(analysis, current);
    const Clock::time_point now = Clock::now();
    if (now >= next_) {
      next_ = now + std::chrono::minutes(1);
      tell();
    }
    return false;
  }

 private:
  using Clock = std::chrono::steady_clock;

  /// Unless nobody reads it: the sound mustn't wait for that.
  void tell() const {
    pollfd watched{STDOUT_FILENO, POLLOUT, 0};
    if (poll(&watched, 1, 0) <= 0) return;
    const UplinkCounts counts = uplink_.counts();
    const std::string& name = options_.target.session.name;
    writeLine(options_.common.json
                  ? jsonLine({{"name", name},
                              {"sent", counts.sent},
                              {"attributes", counts.attributes},
                              {"waiting", counts.waiting},
                              {"failures", counts.failures},
                              {"dropped", counts.dropped}})
                  : fmt::format("{}: {} analyses sent with {} attributes, {} waiting, {} dropped, "
                                "{} attempts failed\n",
                                printable(name), counts.sent, counts.attributes, counts.waiting,
                                counts.dropped, counts.failures),
              guard_);
  }

  Uplink& uplink_;
  const InterruptGuard& guard_;
  const ListenOptions& options_;
  Clock::time_point next_ = Clock::now() + std::chrono::minutes(1);
};

ExitCode runListen(ListenOptions options) {
  applyCommonOptions(options.common);
  if (options.feed.periods.monitor % options.feed.periods.update != 0) {
    throw UsageError("--monitor must be a multiple of --update");
  }
  options.target.session.periods = options.feed.periods;
  options.target.session.key = newSession();
  options.target.token = readToken(options.token_file).value_or("");
  const InterruptGuard guard;
  std::signal(SIGPIPE, SIG_IGN);
  dropUnreadMessages();
  Uplink uplink(options.target, [&guard] { guard.raise(); });
  Reporting sink(uplink, guard, options);
  const ExitCode code = feedChannel({options.target.session.name, options.input}, options.target.id,
                                    sink, options.feed);
  const bool all_sent = uplink.finish();
  const std::string refusal = uplink.refusal();
  if (!refusal.empty()) throw FileError(uplink.place(), refusal);
  if (!all_sent) throw FileError(uplink.place(), "what waited couldn't be sent");
  return code;
}

std::string problemOfTarget(const std::string& url) {
  std::string problem = isRedis(url) ? problemOfPlace(url) : problemOfServer(url);
  if (problem.empty() || isRedis(url)) return problem;
  return problem + "; give http://HOST:PORT of a server, or redis://HOST:PORT of its store";
}

std::string problemOfName(const std::string& name) {
  if (!name.empty() && name.size() <= kLongestName) return {};
  return fmt::format("must have 1 to {} bytes", kLongestName);
}

void addChannel(const Command& command, ListenOptions& options) {
  command.argument("FILE", options.input, "Sound file, named pipe, or - for standard input");
  command
      .option("--to", options.target.url,
              "Server, such as http://127.0.0.1:8080, or its store, redis://HOST:PORT")
      .required()
      .check(Check{problemOfTarget})
      .valueName("URL");
  command.option("--id", options.target.id, "The channel's number")
      .required()
      .check(between(0u, 2147483647u))
      .valueName("N");
  command.option("--name", options.target.session.name, "What it is called in answers")
      .required()
      .check(Check{problemOfName})
      .valueName("NAME");
  command.option("--token-file", options.token_file, "File with the token that the server asks for")
      .valueName("FILE");
}

}  // namespace

void addListenCommand(const Command& app, Action& action) {
  auto options = std::make_shared<ListenOptions>();
  const Command command = app.subcommand("listen", "Send what a channel plays to a server");
  addChannel(command, *options);
  addFeedOptions(command, options->feed, kLongestMonitor);
  const auto raw_given = addRawOptions(command, options->raw, "pipes");
  addSoundOptions(command, options->feed.sound);
  addCommonOptions(command, options->common, "Print JSON, an object a line, instead of text");
  command.footer(std::string(kListenHelp) + kExitCodesHelp);
  command.whenParsed([=, &action] {
    if (raw_given()) options->feed.raw = options->raw;
    action = [options] { return runListen(*options); };
  });
}

}  // namespace audiomatch
