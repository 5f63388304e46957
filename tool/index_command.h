#pragma once

#include "tool/common_options.h"

namespace audiomatch {

/// Adds `index`, which makes a database of sound files, to the command line.
void addIndexCommand(CLI::App& app, Action& action);

}  // namespace audiomatch
