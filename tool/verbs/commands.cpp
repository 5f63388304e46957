#include "tool/verbs/commands.h"

#include "base/logger.h"

namespace audiomatch {

void buildCommandLine(CLI::App& app, Action& action) {
  app.name("audiomatch");
  app.description("Recognises recordings by their audio fingerprints.");
  app.set_version_flag("--version", "audiomatch " AUDIOMATCH_VERSION);
  app.footer(kExitCodesHelp);
  app.require_subcommand(1);
  addIndexCommand(app, action);
  addAddCommand(app, action);
  addRemoveCommand(app, action);
  addRenameCommand(app, action);
  addMergeCommand(app, action);
  addListCommand(app, action);
  addInfoCommand(app, action);
  addCheckCommand(app, action);
  addMatchCommand(app, action);
  addFeaturesCommand(app, action);
  addPlotCommand(app, action);
  addStreamCommand(app, action);
  addChannelsCommand(app, action);
  addPushCommand(app, action);
  addServeCommand(app, action);
  addListenCommand(app, action);
}

void addCommonOptions(CLI::App& command, CommonOptions& options, const char* jsonHelp) {
  command.add_flag("--json", options.json, jsonHelp);
  command.add_flag("--verbose", options.verbose, "Write the engine's messages to standard error");
}

void addSoundOptions(CLI::App& command, SoundOptions& options) {
  command.add_flag("--strict", options.strict,
                   "Refuse damaged sound instead of using what can be read of it");
}

void addExactOption(CLI::App& command, SoundOptions& options) {
  options.to_mono = true;
  command.add_flag_callback(
      "--exact", [&options] { options.to_mono = false; },
      "Let the engine resample, as apps do: slower, by its exports' features bit for bit");
}

void applyCommonOptions(const CommonOptions& options) noexcept {
  audio::gLogger.setEnabled(options.verbose);
  setJsonMessages(options.json);
}

}  // namespace audiomatch
