#pragma once

#include "tool/common_options.h"

namespace audiomatch {

/// Adds `stream`, which turns a stream into attributes, to the command line.
void addStreamCommand(CLI::App& app, Action& action);

}  // namespace audiomatch
