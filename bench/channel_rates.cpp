// Live channels: how often the right one is found, what it costs to listen to them, and whether
// what is kept of them stays as small as it is. For scripts/channel-rates.

#include "channel_rates.h"

#include <fmt/core.h>

#include <string>
#include <string_view>
#include <vector>

#include "base/logger.h"

namespace {

constexpr const char* kUsage =
    "usage: audiomatch_channel_rates which LIST CHANNELS\n"
    "       audiomatch_channel_rates cost LIST CHANNELS FOLDER\n"
    "       audiomatch_channel_rates day LIST CHANNELS FOLDER\n"
    "       audiomatch_channel_rates feed LIST CHANNELS URL MONITOR SECONDS\n";

}  // namespace

int main(int argc, char** argv) {
  audio::gLogger.setEnabled(false);
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const auto is = [&](std::string_view verb, std::size_t count) {
    return arguments.size() == count && arguments[0] == verb;
  };
  const auto number = [&](std::size_t i) {
    return static_cast<std::uint32_t>(std::stoul(arguments[i]));
  };
  if (arguments.size() < 3) {
    fmt::print(stderr, "{}", kUsage);
    return 2;
  }
  const std::vector<bench::Listed> recordings = bench::readList(arguments[1].c_str());
  if (is("which", 3)) {
    bench::askWhich(recordings, number(2));
  } else if (is("cost", 4)) {
    bench::printCosts(recordings, number(2), arguments[3]);
  } else if (is("day", 4)) {
    return bench::keepForDay(recordings, number(2), arguments[3]) ? 0 : 1;
  } else if (is("feed", 6)) {
    bench::feedCluster(recordings, number(2), arguments[3], number(4), number(5));
  } else {
    fmt::print(stderr, "{}", kUsage);
    return 2;
  }
  return 0;
}
