#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "tool/exit_codes.h"

namespace audiomatch {

/// Options that every command has.
struct CommonOptions {
  bool json = false;
  bool verbose = false;
};

/// What the command line asks for: set by the parser, run after it.
using Action = std::function<ExitCode()>;

/// Adds --json, with its help text, and --verbose to a command.
void addCommonOptions(CLI::App& command, CommonOptions& options, const char* jsonHelp);

/// Takes numbers of a range and leaves the help text as it is.
template <typename Number>
CLI::Validator between(Number least, Number most) {
  return CLI::Range(least, most).description("");
}

/// Switches the engine's messages on or off.
void applyCommonOptions(const CommonOptions& options) noexcept;

}  // namespace audiomatch
