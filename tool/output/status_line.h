#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace audiomatch {

/// Shows a text without line end as the last line of the terminal that standard
/// error is, in place of the one shown before; an empty one takes it away. There
/// is one such line for the process. Any thread.
void showStatus(std::string text);

/// Writes text, whole lines, to a standard stream at once: above the status line,
/// if there is one. Any thread; never fails aloud.
void printAboveStatus(std::FILE* stream, std::string_view text) noexcept;

}  // namespace audiomatch
