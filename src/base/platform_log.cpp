#include "base/platform_log.h"

#ifdef __ANDROID__

#include <android/log.h>

namespace audio {

void platformLogWrite(int priority, const char* tag, const char* text) noexcept {
  __android_log_write(priority, tag, text);
}

}  // namespace audio

#else

#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace audio {
namespace {

char priorityLetter(int priority) noexcept {
  constexpr char kLetters[] = "??VDIWEF";
  return priority >= 0 && priority < 8 ? kLetters[priority] : '?';
}

iovec slice(const char* text) noexcept {
  // writev only reads, but iovec has no const form.
  return {const_cast<char*>(text), std::strlen(text)};
}

/// Moves the start of `parts` past `written` bytes.
void skip(std::array<iovec, 5>& parts, std::size_t written) noexcept {
  for (iovec& part : parts) {
    const std::size_t step = written < part.iov_len ? written : part.iov_len;
    part.iov_base = static_cast<char*>(part.iov_base) + step;
    part.iov_len -= step;
    written -= step;
  }
}

/// After a failed write: true when trying again makes sense. A pipe that
/// nobody empties for a while loses the rest of the message.
bool worthAnotherTry() noexcept {
  constexpr int kPatienceMs = 100;
  if (errno == EINTR) return true;
  if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
  pollfd descriptor{STDERR_FILENO, POLLOUT, 0};
  return poll(&descriptor, 1, kPatienceMs) > 0 || errno == EINTR;
}

std::size_t remaining(const std::array<iovec, 5>& parts) noexcept {
  std::size_t bytes = 0;
  for (const iovec& part : parts) bytes += part.iov_len;
  return bytes;
}

}  // namespace

void platformLogWrite(int priority, const char* tag, const char* text) noexcept {
  const char head[] = {priorityLetter(priority), '/', '\0'};
  std::array<iovec, 5> parts = {slice(head), slice(tag), slice(": "), slice(text), slice("\n")};

  // One writev is one piece. The stream's own lock covers what a pipe takes
  // only in parts.
  flockfile(stderr);
  while (remaining(parts) > 0) {
    const ssize_t written = writev(STDERR_FILENO, parts.data(), static_cast<int>(parts.size()));
    if (written < 0 && worthAnotherTry()) continue;
    if (written <= 0) break;
    skip(parts, static_cast<std::size_t>(written));
  }
  funlockfile(stderr);
}

}  // namespace audio

#endif
