#pragma once

#include <atomic>
#include <filesystem>
#include <thread>

#include "tool/input/feeder.h"

namespace audiomatch {

/// Passes what comes live, from standard input or a named pipe, on through a
/// pipe of its own, byte by byte as it comes, and ends that pipe when a signal comes to the InterruptGuard: a
/// decoder that waits for more bytes then returns, as it can't be told to.
class LiveInput : public Feeder {
 public:
  /// Throws std::system_error.
  ///
  /// @param live  the descriptor to read from; it stays the caller's if it is
  ///              standard input, else it is closed in the end
  /// @param name  for messages
  LiveInput(int live, std::filesystem::path name);
  ~LiveInput() override;

  /// The end to read from. The caller takes it over, once, and closes it before
  /// this object goes.
  int descriptor() const noexcept { return read_end_; }

  std::string problem(bool ended) override;

 private:
  void passOn(int write_end) noexcept;

  int live_;
  std::filesystem::path name_;
  int read_end_ = -1;
  std::atomic<int> error_ = 0;  // errno of a reading that failed
  std::jthread thread_;
};

}  // namespace audiomatch
