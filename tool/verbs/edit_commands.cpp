#include <fmt/core.h>

#include <memory>

#include "tool/keeping/background.h"
#include "tool/keeping/database_edit.h"
#include "tool/output/text.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kRemoveHelp =
    "A name that nothing has is an error, and nothing is removed.\n\n";
constexpr const char* kMergeHelp =
    "Of recordings with the same name only the first is taken, with a message about the others.\n"
    "DB may be among the databases that are merged, with --replace.\n\n";

struct EditOptions {
  CommonOptions common;
  std::filesystem::path database;
  std::vector<std::string> names;
  std::string old_name;
  std::string new_name;
  std::vector<std::filesystem::path> parts;
  bool patterns = false;
  bool replace = false;
};

/// What was done to each recording, then the database as it is now.
void print(const EditReport& report, const char* done, bool json) {
  for (const KeptRecording& recording : report.changed) {
    if (json) fmt::print("{}", jsonLine({{done, recording.name}, {"parts", recording.parts}}));
  }
  if (json) {
    fmt::print("{}", jsonLine({{"database", report.database.string()},
                               {"audios", report.audios},
                               {"entries", report.entries},
                               {"background", report.background},
                               {"bytes", report.bytes},
                               {"skipped", report.skipped},
                               {"recordings", report.recordings},
                               {done, report.changed.size()},
                               {"alreadyThere", report.already_there}}));
    return;
  }
  fmt::print("{}: {} audios, {} entries{}, {} bytes; {} {}", report.database.string(),
             report.audios, report.entries, withBackground(report.background), report.bytes, done,
             report.changed.size());
  if (report.already_there > 0) fmt::print(", already there {}", report.already_there);
  if (report.skipped > 0) fmt::print(", skipped {}", report.skipped);
  fmt::print("\n");
}

ExitCode runRemove(const EditOptions& options) {
  applyCommonOptions(options.common);
  print(removeRecordings(options.database, options.names, options.patterns, !options.common.json),
        "removed", options.common.json);
  return ExitCode::kSuccess;
}

ExitCode runRename(const EditOptions& options) {
  applyCommonOptions(options.common);
  print(renameRecording(options.database, options.old_name, options.new_name, !options.common.json),
        "renamed", options.common.json);
  return ExitCode::kSuccess;
}

ExitCode runMerge(const EditOptions& options) {
  applyCommonOptions(options.common);
  print(mergeDatabases(options.database, options.parts, options.replace, !options.common.json),
        "merged", options.common.json);
  return ExitCode::kSuccess;
}

/// What the three have in common; the options that are theirs come between.
Command addEditCommand(const Command& app, EditOptions& options, const char* name,
                       const char* about) {
  const Command command = app.subcommand(name, about);
  addDatabaseArgument(command, options.database, "Database to change");
  addCommonOptions(command, options.common, "Print JSON, an object a line, instead of text");
  return command;
}

}  // namespace

void addRemoveCommand(const Command& app, Action& action) {
  auto options = std::make_shared<EditOptions>();
  const Command command =
      addEditCommand(app, *options, "remove", "Take recordings out of a database");
  command.argument("NAME", options->names, "Recordings, all parts of each").required();
  command.flag("--glob", options->patterns, "NAMEs are patterns with *, ? and [...]");
  command.footer(std::string(kRemoveHelp) + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runRemove(*options); });
}

void addRenameCommand(const Command& app, Action& action) {
  auto options = std::make_shared<EditOptions>();
  const Command command =
      addEditCommand(app, *options, "rename", "Give a recording of a database another name");
  command.argument("OLD", options->old_name, "Its name").required();
  command.argument("NEW", options->new_name, "A name that none has").required();
  command.footer(kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runRename(*options); });
}

void addMergeCommand(const Command& app, Action& action) {
  auto options = std::make_shared<EditOptions>();
  const Command command = addEditCommand(app, *options, "merge", "Make one database of several");
  command.argument("PART", options->parts, "Databases, in the order of their recordings")
      .required()
      .check(databaseFile());
  command.flag("--replace", options->replace, "Replace a database that is there");
  command.footer(std::string(kMergeHelp) + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runMerge(*options); });
}

}  // namespace audiomatch
