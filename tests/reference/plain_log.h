#pragma once

#include <cstdarg>
#include <cstdio>

#include "plain_engine.h"

namespace plain {

// Logs and returns false, as most messages tell of a failure.
__attribute__((format(printf, 2, 3))) inline bool say(Log& log, const char* format, ...) {
  char text[65536];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  log.push_back(text);
  return false;
}

}  // namespace plain
