#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

namespace plain {

/// Messages in the order in which the logger would get them. The one with a measured time reads
/// "cvt spectrogram mag to db cost T seconds.".
using Log = std::vector<std::string>;

/// Appends one message, formatted as printf does.
__attribute__((format(printf, 2, 3))) inline void say(Log& log, const char* format, ...) {
  char text[65536];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  log.push_back(text);
}

/// Appends the message of a failure, whose result is false.
inline bool fail(Log& log, const std::string& message) {
  log.push_back(message);
  return false;
}

}  // namespace plain
