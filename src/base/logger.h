#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>

namespace audio {

/// Room for one formatted message, terminating zero included. A longer
/// message is cut here.
inline constexpr std::size_t kLogBufferSize = 65536;

/// The tag under which every message is filed.
inline constexpr const char* kLogTag = "native-log";

/// The process-wide message switch and formatter.
///
/// Message texts are part of the interface, spelling included: logs are searched
/// for them.
///
/// There are no levels: one flag turns all output on or off. Each call formats
/// into memory of its own, so threads neither wait for each other nor mix
/// their messages.
class Logger {
 public:
  constexpr Logger() noexcept = default;
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  /// Turns all output on or off; any thread, any time.
  void setEnabled(bool enabled) noexcept { enabled_.store(enabled, std::memory_order_relaxed); }
  bool enabled() const noexcept { return enabled_.load(std::memory_order_relaxed); }

  /// Formats as `vprintf` does and, when enabled, passes the text on
  /// unchanged. Never fails visibly.
  void write(const char* format, std::va_list arguments) noexcept
      __attribute__((format(printf, 2, 0)));

 private:
  std::atomic<bool> enabled_{true};
};

/// The one logger. Initialised before any code of the library runs, so
/// messages are on from load until somebody switches them off.
extern Logger gLogger;

/// Sends one printf-style message through `gLogger`.
void logMessage(const char* format, ...) noexcept __attribute__((format(printf, 1, 2)));

/// Logs that a call ended because the memory that it takes isn't there.
void logOutOfMemory() noexcept;

}  // namespace audio
