#pragma once

#include "tool/common_options.h"

namespace audiomatch {

/// Adds `features`, which lists or draws a recording's fingerprint, to the
/// command line.
void addFeaturesCommand(CLI::App& app, Action& action);

}  // namespace audiomatch
