#include "tool/output/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace audiomatch {
namespace {

constexpr std::size_t kUsualWidth = 80;
// Nothing readable fits into less.
constexpr std::size_t kLeastWidth = 20;

/// What the terminal says of itself, else what the user says of it.
std::size_t toldWidth(int descriptor) noexcept {
  winsize size{};
  if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  const char* columns = std::getenv("COLUMNS");
  const int told = columns ? std::atoi(columns) : 0;
  return told > 0 ? static_cast<std::size_t>(told) : kUsualWidth;
}

}  // namespace

std::size_t terminalWidth(int descriptor) noexcept {
  return isatty(descriptor) ? std::max(toldWidth(descriptor), kLeastWidth) : 0;
}

std::size_t outputWidth() noexcept { return terminalWidth(STDOUT_FILENO); }

}  // namespace audiomatch
