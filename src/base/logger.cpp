#include "base/logger.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <new>

#include "base/platform_log.h"

namespace audio {

constinit Logger gLogger;

void Logger::write(const char* format, std::va_list arguments) noexcept {
  if (!enabled()) return;

  // Nearly every message is short. The full buffer stays off the stack, for
  // the stack belongs to a Java thread and may be small; without memory for it
  // the short text has to do.
  std::array<char, 1024> short_text;
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(short_text.data(), short_text.size(), format, arguments);
  if (length >= 0) {
    const std::size_t needed = static_cast<std::size_t>(length) + 1;
    const char* text = short_text.data();
    std::unique_ptr<char[]> long_text;
    if (needed > short_text.size()) {
      const std::size_t room = std::min(needed, kLogBufferSize);
      long_text.reset(new (std::nothrow) char[room]);
      if (long_text) {
        std::vsnprintf(long_text.get(), room, format, again);
        text = long_text.get();
      }
    }
    platformLogWrite(kLogPriorityInfo, kLogTag, text);
  }
  va_end(again);
}

void logMessage(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  gLogger.write(format, arguments);
  va_end(arguments);
}

void logOutOfMemory() noexcept { logMessage("out of memory."); }

}  // namespace audio
