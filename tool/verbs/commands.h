#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "tool/base/errors.h"
#include "tool/input/sound_source.h"
#include "tool/output/messages.h"

namespace audiomatch {

/// What the command line asks for: set by the parser, run after it.
using Action = std::function<ExitCode()>;

/// Makes `app` the tool's whole command line: all commands, in the order in which
/// people come to need them.
void buildCommandLine(CLI::App& app, Action& action);

/// Adds `index`, which makes a database of sound files, to the command line.
void addIndexCommand(CLI::App& app, Action& action);

/// Adds `add`, which takes further sound files into a database.
void addAddCommand(CLI::App& app, Action& action);

/// Adds `remove`, which takes recordings out of a database.
void addRemoveCommand(CLI::App& app, Action& action);

/// Adds `rename`, which gives a recording another name.
void addRenameCommand(CLI::App& app, Action& action);

/// Adds `merge`, which makes one database of several.
void addMergeCommand(CLI::App& app, Action& action);

/// Adds `list`, which lists a database's recordings.
void addListCommand(CLI::App& app, Action& action);

/// Adds `info`, which gives a database's size and how it is filled.
void addInfoCommand(CLI::App& app, Action& action);

/// Adds `check`, which looks for faults in a database.
void addCheckCommand(CLI::App& app, Action& action);

/// Adds `match`, which names recordings by a database.
void addMatchCommand(CLI::App& app, Action& action);

/// Adds `features`, which lists or draws a recording's fingerprint.
void addFeaturesCommand(CLI::App& app, Action& action);

/// Adds `plot`, which draws what the engine sees of a recording.
void addPlotCommand(CLI::App& app, Action& action);

/// Adds `stream`, which turns a stream into attributes.
void addStreamCommand(CLI::App& app, Action& action);

/// Adds `channels`, which says on which live channel a recording is heard.
void addChannelsCommand(CLI::App& app, Action& action);

/// Adds `push`, which brings a database's references into a store.
void addPushCommand(CLI::App& app, Action& action);

/// Adds `serve`, which answers over HTTP what is playing.
void addServeCommand(CLI::App& app, Action& action);

/// Adds `listen`, which sends what a channel plays to a server.
void addListenCommand(CLI::App& app, Action& action);

/// Options that every command has.
struct CommonOptions {
  bool json = false;
  bool verbose = false;
};

/// Adds --json, with its help text, and --verbose to a command.
void addCommonOptions(CLI::App& command, CommonOptions& options, const char* jsonHelp);

/// Adds --strict to a command that reads sound.
void addSoundOptions(CLI::App& command, SoundOptions& options);

/// Adds --exact to a command that analyses recordings; without it they are
/// brought to 8000 Hz in mono first (SoundOptions::to_mono).
void addExactOption(CLI::App& command, SoundOptions& options);

/// Switches the engine's messages on or off, and makes the tool's messages lines of
/// JSON or text.
void applyCommonOptions(const CommonOptions& options) noexcept;

/// Takes numbers of a range and leaves the help text as it is.
template <typename Number>
CLI::Validator between(Number least, Number most) {
  // Which lets through what isn't a number.
  const CLI::Range range(least, most);
  const auto check = [range](std::string& text) {
    double value = 0.0;
    if (CLI::detail::lexical_cast(text, value) && std::isnan(value)) return text + " is no number";
    return range(text);
  };
  return CLI::Validator(check, "");
}

/// Takes one of some words, likewise; completion offers them.
inline CLI::Validator oneOf(const std::vector<std::string>& words) {
  const CLI::IsMember member(words);
  return CLI::Validator(member).name(member.get_description()).description("");
}

}  // namespace audiomatch
