#pragma once

#include <exception>

namespace audiomatch {

/// The user wants the command to end: thrown by checkInterrupt, so that what
/// is half done is undone on the way out.
class Interrupted : public std::exception {
 public:
  explicit Interrupted(int signal) noexcept : signal_(signal) {}
  const char* what() const noexcept override { return "interrupted"; }
  /// SIGINT or SIGTERM.
  int signal() const noexcept { return signal_; }

 private:
  int signal_;
};

/// While it lives, SIGINT and SIGTERM don't end the process but are noted. At
/// most one at a time; made before the threads that ask it.
class InterruptGuard {
 public:
  InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  ~InterruptGuard();

  /// True once a signal came; any thread.
  bool raised() const noexcept;

  /// Ends what waits for a signal, as if one had come.
  void raise() const noexcept;

  /// Waits until `descriptor` is ready for `events` of poll(2), or has ended.
  /// False when a signal came first, or had come before.
  bool wait(int descriptor, short events) const noexcept;
};

/// Becomes readable once a signal came to the guard, for poll(2), and stays so;
/// -1, which poll(2) passes over, without a guard.
int interruptDescriptor() noexcept;

/// Throws Interrupted once a signal came to the guard, if there is one.
void checkInterrupt();

/// Ends the process by a signal, as if there had been no guard.
[[noreturn]] void dieBySignal(int signal);

}  // namespace audiomatch
