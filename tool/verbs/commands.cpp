#include "tool/verbs/commands.h"

#include "base/logger.h"

namespace audiomatch {

void addCommonOptions(CLI::App& command, CommonOptions& options, const char* jsonHelp) {
  command.add_flag("--json", options.json, jsonHelp);
  command.add_flag("--verbose", options.verbose, "Write the engine's messages to standard error");
}

void addSoundOptions(CLI::App& command, SoundOptions& options) {
  command.add_flag("--strict", options.strict,
                   "Refuse damaged sound instead of using what can be read of it");
}

void applyCommonOptions(const CommonOptions& options) noexcept {
  audio::gLogger.setEnabled(options.verbose);
}

}  // namespace audiomatch
