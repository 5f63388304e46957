#include "tool/input/input_lines.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tool/base/errors.h"

namespace audiomatch {

std::optional<std::string> InputLines::next() {
  while (true) {
    const std::size_t end = held_.find(end_);
    if (end == std::string::npos && readMore()) continue;
    if (guard_.raised() || (end == std::string::npos && held_.empty())) return std::nullopt;
    std::string line = held_.substr(0, end);
    held_.erase(0, end == std::string::npos ? held_.size() : end + 1);
    if (!line.empty()) return line;
  }
}

/// False at the end, or when a signal came.
bool InputLines::readMore() {
  while (!ended_ && guard_.wait(STDIN_FILENO, POLLIN)) {
    std::array<char, 4096> bytes;
    const ssize_t came = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (came < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (came < 0) throw FileError("standard input", std::strerror(errno));
    ended_ = came == 0;
    held_.append(bytes.data(), static_cast<std::size_t>(came));
    return !ended_;
  }
  return false;
}

}  // namespace audiomatch
