#pragma once

#include <string_view>

#include "tool/interrupt.h"

namespace audiomatch {

/// Writes a line to standard output at once, past any buffer. False when the
/// reader has gone (SIGPIPE being ignored) or a signal came first; throws
/// FileError when it can't be written for another reason.
bool writeLine(std::string_view line, const InterruptGuard& guard);

}  // namespace audiomatch
