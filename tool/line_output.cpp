#include "tool/line_output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tool/errors.h"

namespace audiomatch {

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
