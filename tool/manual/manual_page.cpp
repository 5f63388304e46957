#include "tool/manual/manual_page.h"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>

#include "tool/base/errors.h"

namespace audiomatch {
namespace {

constexpr std::size_t kWidestLine = 80;

/// Text that roff shows as it is.
std::string plain(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (character == '-') {
      result += "\\-";
    } else if (character == '\\') {
      result += "\\e";
    } else {
      result += character;
    }
  }
  // At the start of a line they would begin a command.
  if (result.starts_with('.') || result.starts_with('\'')) result.insert(0, "\\&");
  return result;
}

/// Text as lines that aren't too wide for those who read the page's source.
std::string running(std::string_view text) {
  std::istringstream words{std::string(text)};
  std::string lines;
  std::string line;
  for (std::string word; words >> word;) {
    const std::string longer = line.empty() ? word : fmt::format("{} {}", line, word);
    if (plain(longer).size() > kWidestLine) {
      lines += plain(line) + '\n';
      line = word;
    } else {
      line = longer;
    }
  }
  return lines + plain(line) + '\n';
}

std::string bold(std::string_view text) { return fmt::format("\\fB{}\\fR", plain(text)); }
std::string slanted(std::string_view text) { return fmt::format("\\fI{}\\fR", plain(text)); }

/// Lines as running text, empty lines between paragraphs; indented lines stay lines.
std::string paragraphs(const std::string& text) {
  std::string result;
  std::string paragraph;
  bool indented = false;
  const auto end = [&] {
    if (paragraph.empty()) return;
    if (!result.empty()) result += ".PP\n";
    result += indented ? ".nf\n" + paragraph + ".fi\n" : running(paragraph);
    paragraph.clear();
  };
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const bool indent = line.starts_with(' ');
    if (line.empty() || indent != indented) end();
    indented = indent;
    if (!line.empty()) paragraph += (indent ? plain(line) : line) + '\n';
  }
  end();
  return result;
}

std::string entry(const std::string& head, std::string_view text) {
  return fmt::format(".TP\n{}\n{}", head, running(text));
}

std::string optionHead(const ArgumentDescription& option) {
  std::string head;
  for (const std::string& name : option.names) head += (head.empty() ? "" : ", ") + bold(name);
  return option.value.empty() ? head : head + ' ' + slanted(option.value);
}

std::string optionHelp(const ArgumentDescription& option) {
  if (option.choices.empty()) return option.help;
  std::string words;
  for (const std::string& word : option.choices) words += (words.empty() ? "" : ", ") + word;
  return option.help.find(words) == std::string::npos ? option.help + ": " + words : option.help;
}

std::string synopsis(const std::string& program, const CommandDescription& command) {
  if (command.name == program) return bold(program) + ' ' + slanted("COMMAND") + " ...\n";
  std::string line = bold(program + ' ' + command.name);
  for (const ArgumentDescription& option : command.options) {
    if (option.required) line += ' ' + optionHead(option);
  }
  line += " [" + slanted("OPTIONS") + "]";
  for (const ArgumentDescription& argument : command.positionals) {
    const std::string name = slanted(argument.value) + (argument.repeated ? "..." : "");
    line += argument.required ? ' ' + name : " [" + name + ']';
  }
  return line + '\n';
}

/// The exit codes of kExitCodesHelp, which has a heading and a line for each.
std::string exitStatus() {
  std::istringstream lines(kExitCodesHelp);
  std::string heading;
  std::getline(lines, heading);
  const auto open = heading.find('(');
  const auto close = heading.find(')');
  std::string note = heading.substr(open + 1, close - open - 1) + '.';
  note.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(note.front())));
  std::string result = ".SH EXIT STATUS\n";
  for (std::string line; std::getline(lines, line);) {
    result += entry(bold(line.substr(2, 1)), line.substr(5));
  }
  return result + ".PP\n" + running(note);
}

std::string seeAlso(const std::vector<CommandDescription>& commands, std::size_t index) {
  std::string list;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (i == index) continue;
    list += (list.empty() ? "" : ",\n") + bold(pageName(commands, i)) + "(1)";
  }
  return ".SH SEE ALSO\n" + list + '\n';
}

std::string list(const char* heading, const std::vector<ArgumentDescription>& arguments) {
  if (arguments.empty()) return {};
  std::string result = fmt::format(".SH {}\n", heading);
  for (const ArgumentDescription& argument : arguments) {
    const bool positional = argument.names.front() == argument.value;
    result +=
        entry(positional ? slanted(argument.value) : optionHead(argument), optionHelp(argument));
  }
  return result;
}

}  // namespace

std::string pageName(const std::vector<CommandDescription>& commands, std::size_t index) {
  const std::string& program = commands.front().name;
  return index == 0 ? program : program + '-' + commands[index].name;
}

std::string manualPage(const std::vector<CommandDescription>& commands, std::size_t index,
                       const Edition& edition) {
  const CommandDescription& command = commands[index];
  const std::string name = pageName(commands, index);
  std::string title = name;
  std::ranges::transform(title, title.begin(), [](unsigned char c) { return std::toupper(c); });
  std::string help = command.help;
  help.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(help.front())));
  if (help.ends_with('.')) help.pop_back();
  std::string page = fmt::format(".TH {} 1 {} \"{} {}\" \"User Commands\"\n", title, edition.date,
                                 commands.front().name, edition.version);
  page += fmt::format(".SH NAME\n{} \\- {}\n", plain(name), plain(help));
  page += ".SH SYNOPSIS\n" + synopsis(commands.front().name, command);
  if (!command.text.empty()) page += ".SH DESCRIPTION\n" + paragraphs(command.text);
  if (index == 0) {
    page += ".SH COMMANDS\n";
    for (std::size_t i = 1; i < commands.size(); ++i) {
      page += entry(bold(commands[i].name), commands[i].help);
    }
  }
  page += list("ARGUMENTS", command.positionals) + list("OPTIONS", command.options);
  return page + exitStatus() + seeAlso(commands, index);
}

}  // namespace audiomatch
