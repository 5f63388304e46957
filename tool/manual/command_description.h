#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace audiomatch {

/// What a value of the command line is, for those who complete it.
enum class ValueKind {
  kNone,      ///< there is no value: a flag
  kOther,     ///< a number, a name: nothing to complete
  kFile,      ///< a file or folder
  kDatabase,  ///< a database
  kChoice,    ///< one of a few words
};

/// An option or a positional argument.
struct ArgumentDescription {
  std::vector<std::string> names;  ///< "-o", "--output"; of a positional its only name, "FILE"
  std::string value;               ///< how help calls the value; empty for a flag
  std::string help;
  ValueKind kind = ValueKind::kNone;
  std::vector<std::string> choices;
  bool required = false;
  bool repeated = false;
};

/// The program, or one of its commands.
struct CommandDescription {
  std::string name;  ///< "audiomatch", "match"
  std::string help;  ///< a sentence
  std::string text;  ///< what follows the options, without the exit codes
  std::vector<ArgumentDescription> options;
  std::vector<ArgumentDescription> positionals;
};

/// The program and then its commands, in the order of its help.
///
/// What a value is follows from its name in help: DB is a database; what has FILE,
/// FOLDER, INPUT, PART, PATH, PICTURE or PNG in its name, a file. One that CLI::IsMember
/// or `oneOf` checks is a choice.
std::vector<CommandDescription> describeCommands(const CLI::App& app);

}  // namespace audiomatch
