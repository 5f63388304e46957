#pragma once

#include <filesystem>
#include <string_view>

#include "tool/base/errors.h"

namespace audiomatch {

// Messages for the user, one line each on standard error: "audiomatch: text" or
// "audiomatch: file: text", made printable. With --json a message is a line of JSON
// with the keys "severity" ("error", "warning" or "note"), "message", "file" if it is
// about one, and "version". They come above a progress bar. Any thread.

/// Whether messages are lines of JSON from now on, for the whole process.
void setJsonMessages(bool json) noexcept;

/// From now on a message is dropped rather than waited with, when whoever reads standard
/// error doesn't: for a process that must go on.
void dropUnreadMessages() noexcept;

/// Something failed, and the exit code says so.
void report(std::string_view text, const std::filesystem::path& file = {}) noexcept;
void report(const FileError& error) noexcept;

/// The work goes on, but the user should know.
void warn(std::string_view text, const std::filesystem::path& file = {}) noexcept;
void warn(const FileError& error) noexcept;

/// Nothing is wrong.
void note(std::string_view text, const std::filesystem::path& file = {}) noexcept;

}  // namespace audiomatch
