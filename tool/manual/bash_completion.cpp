#include <fmt/core.h>

#include "tool/manual/completion.h"

namespace audiomatch {
namespace {

// What is the same for all commands. `kinds` has the kind of value that an option
// takes, "COMMAND OPTION", or an argument of a place, "COMMAND N"; the last argument
// may be repeated as "COMMAND *".
constexpr const char* kScript = R"bash(
_@_complete() {
  local cur=${COMP_WORDS[COMP_CWORD]} command='' place=0 kind='' i word
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ $word == -?* ]]; then
      # What follows is its value, perhaps behind a = of its own.
      if [[ -n ${kinds["$command $word"]:-} ]]; then
        kind=${kinds["$command $word"]}
        [[ ${COMP_WORDS[i + 1]} == = ]] && ((i++))
        ((i + 1 < COMP_CWORD)) && { kind=''; ((i++)); }
      fi
    elif [[ -z $command ]]; then
      command=$word
    else
      ((place++))
    fi
  done
  [[ $cur == = ]] && cur=''
  if [[ -z $kind && $cur == -* ]]; then
    COMPREPLY=($(compgen -W "${options["${command:-@}"]:-}" -- "$cur"))
    return
  fi
  if [[ -z $command ]]; then
    COMPREPLY=($(compgen -W "$commands" -- "$cur"))
    return
  fi
  [[ -z $kind ]] && kind=${kinds["$command $place"]:-${kinds["$command *"]:-}}
  case $kind in
    file) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
    database)
      # Where none has the usual name, any file.
      mapfile -t COMPREPLY < <(compgen -f -X '!*.db' -- "$cur")
      ((${#COMPREPLY[@]})) && word=-d || word=-f
      mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen "$word" -- "$cur") ;;
    choice:*) COMPREPLY=($(compgen -W "${kind#choice:}" -- "$cur")) ;;
    *) return ;;
  esac
  [[ $kind == choice:* ]] || compopt -o filenames
}
complete -F _@ @
)bash";

std::string replaced(std::string text, char mark, const std::string& by) {
  for (std::size_t place = 0; (place = text.find(mark, place)) != std::string::npos;) {
    // A @ that belongs to bash: all elements of an array.
    if (text.compare(place - 1, 3, "[@]") != 0) text.replace(place, 1, by);
    ++place;
  }
  return text;
}

std::string kindOf(const ArgumentDescription& argument) {
  switch (argument.kind) {
    case ValueKind::kFile:
      return "file";
    case ValueKind::kDatabase:
      return "database";
    case ValueKind::kChoice: {
      std::string words = "choice:";
      for (const std::string& word : argument.choices) words += word + ' ';
      return words;
    }
    default:
      return "other";
  }
}

std::string optionNames(const CommandDescription& command) {
  std::string names;
  for (const ArgumentDescription& option : command.options) {
    for (const std::string& name : option.names) names += (names.empty() ? "" : " ") + name;
  }
  return names;
}

/// The lines that say what each value of a command is.
std::string kindsOf(const CommandDescription& command) {
  std::string lines;
  const auto add = [&](const std::string& what, const ArgumentDescription& argument) {
    lines += fmt::format("    ['{} {}']='{}'\n", command.name, what, kindOf(argument));
  };
  for (const ArgumentDescription& option : command.options) {
    if (option.kind == ValueKind::kNone) continue;
    for (const std::string& name : option.names) add(name, option);
  }
  std::size_t place = 0;
  for (const ArgumentDescription& argument : command.positionals) {
    add(argument.repeated ? "*" : std::to_string(place++), argument);
  }
  return lines;
}

}  // namespace

std::string bashCompletion(const std::vector<CommandDescription>& commands) {
  const std::string& program = commands.front().name;
  std::string names;
  std::string options;
  std::string kinds;
  for (const CommandDescription& command : commands) {
    if (command.name != program) names += (names.empty() ? "" : " ") + command.name;
    options += fmt::format("    ['{}']='{}'\n", command.name, optionNames(command));
    kinds += kindsOf(command);
  }
  std::string script =
      fmt::format("# bash completion for {}; made from its command line\n", program);
  script += fmt::format("_{}() {{\n  local commands='{}'\n", program, names);
  script += "  local -A options=(\n" + options + "  )\n  local -A kinds=(\n" + kinds + "  )\n";
  script += fmt::format("  _{}_complete\n}}\n", program);
  return script + replaced(kScript, '@', program);
}

}  // namespace audiomatch
