#include "tool/verbs/shared_options.h"

#include <fmt/format.h>

#include "base/analysis_grid.h"
#include "stream/stream_grid.h"
#include "tool/input/rate_reducer.h"
#include "tool/store/open_store.h"
#include "tool/verbs/commands.h"

namespace audiomatch {

void addThresholdOptions(CLI::App& command, Thresholds& thresholds) {
  command
      .add_option("--min-agreeing", thresholds.agreeing,
                  fmt::format("Agreeing features that make it recognised, and one more for every "
                              "{} features of it (default {})",
                              Thresholds::kFeaturesPerAgreeing, kThresholds.agreeing))
      ->check(between(1, 1'000'000))
      ->type_name("N");
  command
      .add_option("--min-discrimination", thresholds.discrimination,
                  fmt::format("Discrimination from the best of another name that it takes, too, "
                              "unless {} times as many features agree (default {})",
                              Thresholds::kPlenty, kThresholds.discrimination))
      ->check(between(0.0, 1.0))
      ->type_name("X");
}

CLI::Validator databaseFile() {
  const auto check = [](const std::string& text) -> std::string {
    if (!isRedis(text)) return {};
    return "takes a database's file; push adds to a store, and a server lists and changes what is "
           "in one (GET, POST and DELETE /v1/references)";
  };
  return CLI::Validator(check, "");
}

void addFeedOptions(CLI::App& command, FeedOptions& options, std::uint32_t longest) {
  command
      .add_option("--update", options.periods.update,
                  fmt::format("Seconds from one analysis of a channel to the next, 1 to {} "
                              "(default {})",
                              audio::kBufferSeconds, options.periods.update))
      ->check(between(1u, audio::kBufferSeconds))
      ->type_name("N");
  command
      .add_option("--monitor", options.periods.monitor,
                  fmt::format("Seconds that are remembered of each channel, a multiple of --update "
                              "up to {} (default {})",
                              longest, options.periods.monitor))
      ->check(between(1u, longest))
      ->type_name("N");
  command.add_option("--speed", options.speed, "How fast files play (default 1)")
      ->check(between(0.1, 1000.0))
      ->type_name("X");
}

std::function<bool()> addRawOptions(CLI::App& command, RawFormat& raw, const std::string& of) {
  const CLI::Option* rate =
      command
          .add_option("--rate", raw.rate,
                      fmt::format("Hz of raw samples from {} (default {})", of, raw.rate))
          ->check(between(audio::kLowestRate, kHighestReducibleRate))
          ->type_name("N");
  const CLI::Option* channels =
      command
          .add_option("--channels", raw.channels,
                      fmt::format("Their channels (default {})", raw.channels))
          ->check(between(1u, 1024u))
          ->type_name("N");
  const CLI::Option* format =
      command
          .add_option("--format", raw.encoding,
                      fmt::format("Their encoding: {} (default {})",
                                  fmt::join(rawEncodings(), ", "), raw.encoding))
          ->check(oneOf(rawEncodings()))
          ->type_name("F");
  return [=] { return rate->count() + channels->count() + format->count() > 0; };
}

}  // namespace audiomatch
