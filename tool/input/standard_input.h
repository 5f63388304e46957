#pragma once

#include <atomic>
#include <filesystem>
#include <thread>
#include <utility>

#include "tool/input/descriptor.h"
#include "tool/input/feeder.h"

namespace audiomatch {

/// Passes standard input, or another pipe, on through a pipe of its own, byte by
/// byte as it comes, and ends that pipe when a signal comes to the
/// InterruptGuard: a decoder that waits for more bytes then returns, as it
/// can't be told to. Tells as its problem when an Ogg stream ends before its end,
/// which a decoder that can't see a pipe's end doesn't.
class StandardInput : public Feeder {
 public:
  /// @param live     what to read
  /// @param name     its, for messages
  /// @param writing  where to: a socket
  StandardInput(Descriptor live, std::filesystem::path name, Descriptor writing)
      : live_(std::move(live)),
        name_(std::move(name)),
        writing_(std::move(writing)),
        thread_([this] { passOn(); }) {}
  ~StandardInput() override;

  std::string problem(bool ended) override;

 private:
  void passOn() noexcept;

  Descriptor live_;
  std::filesystem::path name_;
  Descriptor writing_;
  std::atomic<int> error_ = 0;        // errno of a reading that failed
  std::atomic<bool> is_cut_ = false;  // an Ogg stream that ended before its end
  std::jthread thread_;
};

}  // namespace audiomatch
