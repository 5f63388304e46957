#pragma once

#include <optional>
#include <string>

#include "tool/base/interrupt.h"

namespace audiomatch {

/// The lines of standard input, as they come.
class InputLines {
 public:
  /// @param guard  outlives this object; its signals end the lines
  /// @param end    of a line; it isn't part of it, and the last may lack it
  explicit InputLines(const InterruptGuard& guard, char end = '\n') : guard_(guard), end_(end) {}

  /// The next line; nothing at the end or when a signal came. Empty lines are
  /// passed over. Throws FileError when standard input can't be read.
  std::optional<std::string> next();

 private:
  bool readMore();

  const InterruptGuard& guard_;
  char end_;
  std::string held_;
  bool ended_ = false;
};

}  // namespace audiomatch
