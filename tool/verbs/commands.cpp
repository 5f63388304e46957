#include "tool/verbs/commands.h"

#include "base/logger.h"

namespace audiomatch {

void buildCommandLine(CLI::App& parser, Action& action) {
  const Command app = Command(parser).program("audiomatch", AUDIOMATCH_VERSION,
                                              "Recognises recordings by their audio fingerprints.");
  app.footer(kExitCodesHelp);
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

void runWhenParsed(const Command& command, Action& action, const Action& run) {
  command.whenParsed([&action, run] { action = run; });
}

void addCommonOptions(const Command& command, CommonOptions& options, const char* jsonHelp) {
  command.flag("--json", options.json, jsonHelp);
  command.flag("--verbose", options.verbose, "Write the engine's messages to standard error");
}

void addSoundOptions(const Command& command, SoundOptions& options) {
  command.flag("--strict", options.strict,
               "Refuse damaged sound instead of using what can be read of it");
}

void addExactOption(const Command& command, SoundOptions& options) {
  options.to_mono = true;
  command.flagCalling(
      "--exact", [&options] { options.to_mono = false; },
      "Let the engine resample, as apps do: slower, by its exports' features bit for bit");
}

void applyCommonOptions(const CommonOptions& options) noexcept {
  audio::gLogger.setEnabled(options.verbose);
  setJsonMessages(options.json);
}

}  // namespace audiomatch
