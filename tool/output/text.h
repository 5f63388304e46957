#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "tool/base/interrupt.h"

namespace audiomatch {

/// What every line of JSON says last of itself. Keys may come without a change of
/// it; one that goes or means something else changes it.
inline constexpr int kJsonVersion = 1;

/// One object as one line of JSON, line end included, with `kJsonVersion` as its
/// last key "version". Text that isn't UTF-8, as a file's name may be, has its
/// wrong bytes replaced.
std::string jsonLine(nlohmann::ordered_json object);

/// A number rounded for programs that people read, too: milliseconds are enough.
double thousandths(double value) noexcept;

/// A float as the shortest number that reads back as the same float.
double shortest(float number);

/// A time for people, m:ss.t or h:mm:ss.t.
std::string clockTime(double seconds);

/// The text with bytes that aren't UTF-8 replaced.
std::string validUtf8(const std::string& text);

/// Writes a line to standard output at once, past any buffer. False when the
/// reader has gone (SIGPIPE being ignored) or a signal came first; throws
/// FileError when it can't be written for another reason.
bool writeLine(std::string_view line, const InterruptGuard& guard);

}  // namespace audiomatch
