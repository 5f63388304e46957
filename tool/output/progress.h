#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "tool/output/progress_text.h"

namespace audiomatch {

/// A bar on standard error with the time left, which grows while things get
/// done and is gone afterwards; nothing at all where nobody watches. Messages come
/// above it. At most one at a time.
class Progress {
 public:
  /// Progress of so many steps.
  ///
  /// @param wanted  false for no bar; there is none either when standard error
  ///                isn't a terminal
  Progress(bool wanted, std::uint64_t total);

  /// Progress through a sound.
  ///
  /// @param totalSeconds  its length, 0 when it isn't known
  static Progress ofSound(bool wanted, double totalSeconds);

  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  /// So many more are done. Any thread.
  void step(std::uint64_t steps = 1);

  /// The sound is done up to this second. Any thread.
  void reach(double seconds);

 private:
  using Clock = std::chrono::steady_clock;

  Progress(bool wanted, const WorkDone& work);
  void update(double done);
  void draw(Clock::time_point now);

  std::size_t width_;  ///< of the terminal, 0 for no bar
  std::mutex mutex_;
  WorkDone work_;
  Clock::time_point begin_;
  Clock::time_point drawn_;
};

}  // namespace audiomatch
