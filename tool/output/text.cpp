#include "tool/output/text.h"

#include <fmt/core.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>

#include "tool/base/errors.h"

namespace audiomatch {
namespace {

constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;

}  // namespace

std::string jsonLine(nlohmann::ordered_json object) {
  object["version"] = kJsonVersion;
  return object.dump(-1, ' ', false, kReplace) + '\n';
}

double thousandths(double value) noexcept { return std::round(value * 1000.0) / 1000.0; }

double shortest(float number) { return std::stod(fmt::format("{}", number)); }

std::string clockTime(double seconds) {
  const auto tenths = static_cast<long long>(std::llround(std::abs(seconds) * 10.0));
  const long long whole = tenths / 10;
  const char* sign = seconds < 0 && tenths > 0 ? "-" : "";
  if (whole < 3600) return fmt::format("{}{}:{:02}.{}", sign, whole / 60, whole % 60, tenths % 10);
  return fmt::format("{}{}:{:02}:{:02}.{}", sign, whole / 3600, whole / 60 % 60, whole % 60,
                     tenths % 10);
}

std::string validUtf8(const std::string& text) {
  const std::string quoted = nlohmann::ordered_json(text).dump(-1, ' ', false, kReplace);
  return nlohmann::ordered_json::parse(quoted).get<std::string>();
}

bool writeLine(std::string_view line, const InterruptGuard& guard) {
  while (!line.empty()) {
    if (!guard.wait(STDOUT_FILENO, POLLOUT)) return false;
    const ssize_t written = write(STDOUT_FILENO, line.data(), line.size());
    if (written >= 0) {
      line.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE) {
      return false;
    } else if (errno != EINTR && errno != EAGAIN) {
      throw FileError("standard output", std::strerror(errno));
    }
  }
  return true;
}

}  // namespace audiomatch
