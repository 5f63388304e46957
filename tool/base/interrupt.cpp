#include "tool/base/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace audiomatch {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM};

std::atomic<int> raised_signal = 0;
// Written to by the handler, so that a signal just before poll(2) ends it too.
int wake_up[2] = {-1, -1};
struct sigaction previous[2];

void noteSignal(int signal) noexcept {
  const int saved = errno;
  raised_signal.store(signal);
  if (write(wake_up[1], "", 1) < 0) {
    // Full: woken up already.
  }
  errno = saved;
}

}  // namespace

InterruptGuard::InterruptGuard() {
  raised_signal.store(0);
  if (pipe2(wake_up, O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  struct sigaction action {};
  action.sa_handler = noteSignal;
  sigemptyset(&action.sa_mask);
  for (int i = 0; i < 2; ++i) sigaction(kSignals[i], &action, &previous[i]);
}

InterruptGuard::~InterruptGuard() {
  for (int i = 0; i < 2; ++i) sigaction(kSignals[i], &previous[i], nullptr);
  for (int& end : wake_up) {
    close(end);
    end = -1;
  }
  raised_signal.store(0);
}

bool InterruptGuard::raised() const noexcept { return raised_signal.load() != 0; }

void InterruptGuard::raise() const noexcept { noteSignal(SIGTERM); }

bool InterruptGuard::wait(int descriptor, short events) const noexcept {
  pollfd watched[] = {{descriptor, events, 0}, {wake_up[0], POLLIN, 0}};
  while (!raised()) {
    if (poll(watched, 2, -1) > 0 && watched[1].revents == 0) return true;
  }
  return false;
}

int interruptDescriptor() noexcept { return wake_up[0]; }

void checkInterrupt() {
  if (const int signal = raised_signal.load(); signal != 0) throw Interrupted(signal);
}

void dieBySignal(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  std::abort();
}

}  // namespace audiomatch
