#include <fmt/core.h>

#include <string_view>

#include "tool/manual/completion.h"

namespace audiomatch {
namespace {

/// Text inside of single quotes, with what _arguments would take for its own
/// syntax escaped.
std::string quoted(std::string_view text, std::string_view special) {
  std::string result;
  for (const char character : text) {
    if (character == '\'') {
      result += "'\\''";
      continue;
    }
    if (character == '\\' || special.find(character) != std::string_view::npos) result += '\\';
    result += character;
  }
  return result;
}

/// What completes a value.
std::string actionOf(const ArgumentDescription& argument) {
  switch (argument.kind) {
    case ValueKind::kFile:
      return "_files";
    case ValueKind::kDatabase:
      return R"glob(_files -g "*.db(-.)")glob";
    case ValueKind::kChoice: {
      std::string words;
      for (const std::string& word : argument.choices) words += (words.empty() ? "" : " ") + word;
      return fmt::format("({})", words);
    }
    default:
      return " ";
  }
}

/// What _arguments is told of each name of an option; one excludes the
/// others, unless it may be repeated.
std::string optionLines(const ArgumentDescription& option) {
  std::string all;
  for (const std::string& name : option.names) all += (all.empty() ? "" : " ") + name;
  std::string lines;
  for (const std::string& name : option.names) {
    // Its value may also follow a = (a long name's).
    const bool joined = option.kind != ValueKind::kNone && name.starts_with("--");
    const std::string when = option.repeated ? "*" : '(' + all + ')';
    lines += fmt::format(" \\\n        '{}{}{}[{}]", when, name, joined ? "=" : "",
                         quoted(option.help, "[]:"));
    if (option.kind != ValueKind::kNone) {
      lines += fmt::format(":{}:{}", quoted(option.value, ":"), actionOf(option));
    }
    lines += '\'';
  }
  return lines;
}

std::string argumentLine(const ArgumentDescription& argument) {
  return fmt::format(" \\\n        '{}:{}:{}'", argument.repeated ? "*" : "",
                     quoted(argument.value, ":"), actionOf(argument));
}

std::string commandCase(const CommandDescription& command) {
  std::string lines = fmt::format("    {})\n      _arguments -s", command.name);
  for (const ArgumentDescription& option : command.options) lines += optionLines(option);
  for (const ArgumentDescription& argument : command.positionals) lines += argumentLine(argument);
  return lines + "\n      ;;\n";
}

}  // namespace

std::string zshCompletion(const std::vector<CommandDescription>& commands) {
  const CommandDescription& program = commands.front();
  std::string names;
  std::string cases;
  for (std::size_t i = 1; i < commands.size(); ++i) {
    names += fmt::format("    '{}:{}'\n", commands[i].name, quoted(commands[i].help, ""));
    cases += commandCase(commands[i]);
  }
  std::string script = fmt::format("#compdef {}\n# made from its command line\n", program.name);
  script += "local curcontext=$curcontext state line\nlocal -a commands\ncommands=(\n" + names +
            ")\n_arguments -C";
  for (const ArgumentDescription& option : program.options) script += optionLines(option);
  script += " \\\n        '1:command:->command' '*::argument:->argument'\n";
  script += "case $state in\n  command)\n    _describe command commands\n    ;;\n";
  script += "  argument)\n    case $words[1] in\n" + cases + "    esac\n    ;;\nesac\n";
  return script;
}

}  // namespace audiomatch
