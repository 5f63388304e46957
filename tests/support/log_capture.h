#pragma once

#include <string>
#include <vector>

namespace testing_support {

/// Collects what the process writes to standard error while it lives, and
/// takes the engine's messages out of it: the tests see what a user would.
class LogCapture {
 public:
  LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture();

  /// The messages so far, in order; the measured time in the spectrogram's
  /// message reads T.
  std::vector<std::string> messages() const;

  /// Everything so far, as it was written.
  std::string text() const;

 private:
  int saved_;
  int file_;
};

}  // namespace testing_support
