#pragma once

#include "tool/common_options.h"

namespace audiomatch {

/// Adds `match`, which names recordings by a database, to the command line.
void addMatchCommand(CLI::App& app, Action& action);

}  // namespace audiomatch
