#include "tool/input/standard_input.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/ogg_end.h"

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

/// The end of what passes, as much as tells whether an Ogg stream ends there.
class Tail {
 public:
  void add(std::string_view bytes) {
    if (passed_ < kOgg.size()) start_ += bytes.substr(0, kOgg.size() - passed_);
    passed_ += bytes.size();
    if (start_ != kOgg) return;
    tail_ += bytes;
    // Seldom, as it moves what is kept.
    if (tail_.size() > 4 * kMostOggPageBytes) tail_.erase(0, tail_.size() - kMostOggPageBytes);
  }

  bool isCut() const noexcept {
    const std::string_view tail = tail_;
    return start_ == kOgg && !oggEndIsThere(tail);
  }

 private:
  static constexpr std::string_view kOgg = "OggS";

  std::size_t passed_ = 0;
  std::string start_;
  std::string tail_;
};

}  // namespace

StandardInput::~StandardInput() {
  // Wakes the thread.
  shutdown(writing_.get(), SHUT_RDWR);
}

void StandardInput::passOn() noexcept {
  std::array<char, 16384> bytes;
  Tail tail;
  while (waitForInput(live_.get(), writing_.get())) {
    const ssize_t came = read(live_.get(), bytes.data(), bytes.size());
    if (came < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (came < 0) error_ = errno;
    if (came <= 0) break;
    tail.add({bytes.data(), static_cast<std::size_t>(came)});
    if (!sendAll(writing_.get(), bytes.data(), static_cast<std::size_t>(came))) break;
  }
  is_cut_ = tail.isCut();
  shutdown(writing_.get(), SHUT_WR);
}

std::string StandardInput::problem(bool ended) {
  if (ended && error_ != 0) throw FileError(name_, std::strerror(error_));
  if (ended && is_cut_) return kOggEndMissing;
  return {};
}

}  // namespace audiomatch
