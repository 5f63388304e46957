#include "tool/input/live_input.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"

namespace audiomatch {
namespace {

/// Waits until there is something to read. False when a signal came first, or
/// nobody reads what is passed on.
bool waitForInput(int live, int write_end) noexcept {
  pollfd watched[] = {{live, POLLIN, 0}, {interruptDescriptor(), POLLIN, 0}, {write_end, 0, 0}};
  while (poll(watched, 3, -1) <= 0) {
    if (errno != EINTR && errno != EAGAIN) return false;
  }
  return watched[1].revents == 0 && watched[2].revents == 0;
}

/// False when nobody reads any more.
bool sendAll(int write_end, const char* bytes, std::size_t size) noexcept {
  while (size > 0) {
    const ssize_t sent = send(write_end, bytes, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    bytes += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace

LiveInput::LiveInput(int live, std::filesystem::path name) : live_(live), name_(std::move(name)) {
  // A socket, since writing to a pipe that nobody reads raises a signal.
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  read_end_ = ends[0];
  thread_ = std::jthread([this, write_end = ends[1]] { passOn(write_end); });
}

LiveInput::~LiveInput() {
  thread_ = {};
  if (live_ != STDIN_FILENO) close(live_);
}

void LiveInput::passOn(int write_end) noexcept {
  std::array<char, 16384> bytes;
  while (waitForInput(live_, write_end)) {
    const ssize_t came = ::read(live_, bytes.data(), bytes.size());
    if (came < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (came < 0) error_ = errno;
    if (came <= 0 || !sendAll(write_end, bytes.data(), static_cast<std::size_t>(came))) break;
  }
  close(write_end);
}

std::string LiveInput::problem(bool ended) {
  if (ended && error_ != 0) throw FileError(name_, std::strerror(error_));
  return {};
}

}  // namespace audiomatch
