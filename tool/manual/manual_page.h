#pragma once

#include <string>

#include "tool/manual/command_description.h"

namespace audiomatch {

/// What stands at the foot of each page.
struct Edition {
  std::string version;  ///< "1.1"
  std::string date;     ///< "2026-11-25"
};

/// The manual page, in the language of man(7), of one of the commands that
/// describeCommands gave.
std::string manualPage(const std::vector<CommandDescription>& commands, std::size_t index,
                       const Edition& edition);

/// Its name: "audiomatch" for the first, "audiomatch-match".
std::string pageName(const std::vector<CommandDescription>& commands, std::size_t index);

}  // namespace audiomatch
