#pragma once

#include <algorithm>

namespace audiomatch {

/// What the tool tells its caller, from good to bad.
enum class ExitCode : int {
  kSuccess = 0,
  kNoMatch = 1,  ///< at least one recording matches nothing
  kUsage = 2,    ///< the arguments make no sense
  kFailure = 3,  ///< something can't be read or written
};

/// The worse of two: what a command tells that met both.
constexpr ExitCode worse(ExitCode a, ExitCode b) noexcept { return std::max(a, b); }

/// The section on exit codes of the help text.
inline constexpr const char* kExitCodesHelp =
    "Exit codes (the worst wins):\n"
    "  0  success\n"
    "  1  match: at least one file had no match\n"
    "  2  wrong usage\n"
    "  3  something could not be read or written; standard error names it\n";

}  // namespace audiomatch
