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

/// Adds --verbose alone.
void addVerboseOption(CLI::App& command, CommonOptions& options);

/// Switches the engine's messages on or off.
void applyCommonOptions(const CommonOptions& options) noexcept;

}  // namespace audiomatch
