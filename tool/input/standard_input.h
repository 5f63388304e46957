#pragma once

#include <atomic>
#include <thread>

#include "tool/input/feeder.h"

namespace audiomatch {

/// Passes standard input on through a pipe of its own, byte by byte as it
/// comes, and ends that pipe when a signal comes to the InterruptGuard: a
/// decoder that waits for more bytes then returns, as it can't be told to.
class StandardInput : public Feeder {
 public:
  /// Throws std::system_error.
  StandardInput();
  ~StandardInput() override = default;

  /// The end to read from. The caller takes it over, once, and closes it before
  /// this object goes.
  int descriptor() const noexcept { return read_end_; }

  std::string problem(bool ended) override;

 private:
  void passOn(int write_end) noexcept;

  int read_end_ = -1;
  std::atomic<int> error_ = 0;  // errno of a reading that failed
  std::jthread thread_;
};

}  // namespace audiomatch
