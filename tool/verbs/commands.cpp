#include "tool/verbs/commands.h"

#include "base/logger.h"

namespace audiomatch {

void addCommonOptions(CLI::App& command, CommonOptions& options, const char* jsonHelp) {
  command.add_flag("--json", options.json, jsonHelp);
  command.add_flag("--verbose", options.verbose, "Write the engine's messages to standard error");
}

void applyCommonOptions(const CommonOptions& options) noexcept {
  audio::gLogger.setEnabled(options.verbose);
}

}  // namespace audiomatch
