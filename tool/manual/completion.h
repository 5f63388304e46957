#pragma once

#include <string>
#include <vector>

#include "tool/manual/command_description.h"

namespace audiomatch {

/// A script that teaches bash to complete the command line: commands, options,
/// the words that an option takes, files. It needs nothing but bash.
std::string bashCompletion(const std::vector<CommandDescription>& commands);

/// The same for zsh, as a function that its completion loads.
std::string zshCompletion(const std::vector<CommandDescription>& commands);

}  // namespace audiomatch
