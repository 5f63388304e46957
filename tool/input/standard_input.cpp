#include "tool/input/standard_input.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"

namespace audiomatch {
namespace {

/// Waits until there is something to read. False when a signal came first, or
/// nobody reads what is passed on.
bool waitForInput(int live, int writing) noexcept {
  pollfd watched[] = {{live, POLLIN, 0}, {interruptDescriptor(), POLLIN, 0}, {writing, 0, 0}};
  while (poll(watched, 3, -1) <= 0) {
    if (errno != EINTR && errno != EAGAIN) return false;
  }
  return watched[1].revents == 0 && watched[2].revents == 0;
}

/// False when nobody reads any more.
bool sendAll(int writing, const char* bytes, std::size_t size) noexcept {
  while (size > 0) {
    const ssize_t sent = send(writing, bytes, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    bytes += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace

StandardInput::~StandardInput() {
  // Wakes the thread.
  shutdown(writing_.get(), SHUT_RDWR);
}

void StandardInput::passOn() noexcept {
  std::array<char, 16384> bytes;
  while (waitForInput(live_.get(), writing_.get())) {
    const ssize_t came = read(live_.get(), bytes.data(), bytes.size());
    if (came < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (came < 0) error_ = errno;
    if (came <= 0) break;
    if (!sendAll(writing_.get(), bytes.data(), static_cast<std::size_t>(came))) break;
  }
  shutdown(writing_.get(), SHUT_WR);
}

std::string StandardInput::problem(bool ended) {
  if (ended && error_ != 0) throw FileError(name_, std::strerror(error_));
  return {};
}

}  // namespace audiomatch
