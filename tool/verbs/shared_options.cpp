#include "tool/verbs/shared_options.h"

#include <fmt/format.h>

#include "base/analysis_grid.h"
#include "stream/stream_grid.h"
#include "tool/input/rate_reducer.h"
#include "tool/store/open_store.h"
#include "tool/verbs/commands.h"

namespace audiomatch {

void addThresholdOptions(const Command& command, Thresholds& thresholds) {
  command
      .option("--min-agreeing", thresholds.agreeing,
              fmt::format("Agreeing features that make it recognised, and one more for every "
                          "{} features of it (default {})",
                          Thresholds::kFeaturesPerAgreeing, kThresholds.agreeing))
      .check(between(1, 1'000'000))
      .valueName("N");
  command
      .option("--min-discrimination", thresholds.discrimination,
              fmt::format("Discrimination from the best of another name that it takes, too, "
                          "unless {} times as many features agree (default {})",
                          Thresholds::kPlenty, kThresholds.discrimination))
      .check(between(0.0, 1.0))
      .valueName("X");
}

Check databaseFile() {
  const auto check = [](const std::string& text) -> std::string {
    if (!isRedis(text)) return {};
    return "takes a database's file; push adds to a store, and a server lists and changes what is "
           "in one (GET, POST and DELETE /v1/references)";
  };
  return {check};
}

void addDatabaseArgument(const Command& command, std::filesystem::path& database,
                         const std::string& help) {
  command.argument("DB", database, help).required().check(databaseFile());
}

void addFeedOptions(const Command& command, FeedOptions& options, std::uint32_t longest) {
  command
      .option("--update", options.periods.update,
              fmt::format("Seconds from one analysis of a channel to the next, 1 to {} "
                          "(default {})",
                          audio::kBufferSeconds, options.periods.update))
      .check(between(1u, audio::kBufferSeconds))
      .valueName("N");
  command
      .option("--monitor", options.periods.monitor,
              fmt::format("Seconds that are remembered of each channel, a multiple of --update "
                          "up to {} (default {})",
                          longest, options.periods.monitor))
      .check(between(1u, longest))
      .valueName("N");
  command.option("--speed", options.speed, "How fast files play (default 1)")
      .check(between(0.1, 1000.0))
      .valueName("X");
}

std::function<bool()> addRawOptions(const Command& command, RawFormat& raw, const std::string& of) {
  const Option rate =
      command
          .option("--rate", raw.rate,
                  fmt::format("Hz of raw samples from {} (default {})", of, raw.rate))
          .check(between(audio::kLowestRate, kHighestReducibleRate))
          .valueName("N");
  const Option channels = command
                              .option("--channels", raw.channels,
                                      fmt::format("Their channels (default {})", raw.channels))
                              .check(between(1u, 1024u))
                              .valueName("N");
  const Option format = command
                            .option("--format", raw.encoding,
                                    fmt::format("Their encoding: {} (default {})",
                                                fmt::join(rawEncodings(), ", "), raw.encoding))
                            .check(oneOf(rawEncodings()))
                            .valueName("F");
  return [=] { return rate.isGiven() || channels.isGiven() || format.isGiven(); };
}

}  // namespace audiomatch
