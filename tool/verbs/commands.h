#pragma once

#include <functional>
#include <string>

#include "tool/base/errors.h"
#include "tool/input/sound_source.h"
#include "tool/output/messages.h"
#include "tool/verbs/command.h"

namespace audiomatch {

/// What the command line asks for: set by the parser, run after it.
using Action = std::function<ExitCode()>;

/// Makes a parser the tool's whole command line: all commands, in the order in which
/// people come to need them.
void buildCommandLine(CLI::App& parser, Action& action);

/// Adds `index`, which makes a database of sound files, to the command line.
void addIndexCommand(const Command& app, Action& action);

/// Adds `add`, which takes further sound files into a database.
void addAddCommand(const Command& app, Action& action);

/// Adds `remove`, which takes recordings out of a database.
void addRemoveCommand(const Command& app, Action& action);

/// Adds `rename`, which gives a recording another name.
void addRenameCommand(const Command& app, Action& action);

/// Adds `merge`, which makes one database of several.
void addMergeCommand(const Command& app, Action& action);

/// Adds `list`, which lists a database's recordings.
void addListCommand(const Command& app, Action& action);

/// Adds `info`, which gives a database's size and how it is filled.
void addInfoCommand(const Command& app, Action& action);

/// Adds `check`, which looks for faults in a database.
void addCheckCommand(const Command& app, Action& action);

/// Adds `match`, which names recordings by a database.
void addMatchCommand(const Command& app, Action& action);

/// Adds `features`, which lists or draws a recording's fingerprint.
void addFeaturesCommand(const Command& app, Action& action);

/// Adds `plot`, which draws what the engine sees of a recording.
void addPlotCommand(const Command& app, Action& action);

/// Adds `stream`, which turns a stream into attributes.
void addStreamCommand(const Command& app, Action& action);

/// Adds `channels`, which says on which live channel a recording is heard.
void addChannelsCommand(const Command& app, Action& action);

/// Adds `push`, which brings a database's references into a store.
void addPushCommand(const Command& app, Action& action);

/// Adds `serve`, which answers over HTTP what is playing.
void addServeCommand(const Command& app, Action& action);

/// Adds `listen`, which sends what a channel plays to a server.
void addListenCommand(const Command& app, Action& action);

/// Makes `run` the action of a command line that has a command.
void runWhenParsed(const Command& command, Action& action, const Action& run);

/// Options that every command has.
struct CommonOptions {
  bool json = false;
  bool verbose = false;
};

/// Adds --json, with its help text, and --verbose to a command.
void addCommonOptions(const Command& command, CommonOptions& options, const char* jsonHelp);

/// Adds --strict to a command that reads sound.
void addSoundOptions(const Command& command, SoundOptions& options);

/// Adds --exact to a command that analyses recordings; without it they are
/// brought to 8000 Hz in mono first (SoundOptions::to_mono).
void addExactOption(const Command& command, SoundOptions& options);

/// Switches the engine's messages on or off, and makes the tool's messages lines of
/// JSON or text.
void applyCommonOptions(const CommonOptions& options) noexcept;

}  // namespace audiomatch
