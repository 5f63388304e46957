#include "tool/manual/command_description.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <string_view>

#include "tool/base/errors.h"
#include "tool/verbs/commands.h"

namespace audiomatch {
namespace {

constexpr std::string_view kFileNames[] = {"FILE", "FOLDER", "INPUT",   "PART",
                                           "LIST", "PATH",   "PICTURE", "PNG"};

/// The words of a list such as "{png,svg}"; none of another text.
std::vector<std::string> listed(const std::string& text) {
  std::vector<std::string> words;
  if (text.size() < 2 || text.front() != '{' || text.back() != '}') return words;
  std::istringstream list(text.substr(1, text.size() - 2));
  for (std::string word; std::getline(list, word, ',');) words.push_back(word);
  return words;
}

/// The words that an option's validators allow. They tell in their name (oneOf) or
/// in their description (CLI::IsMember).
std::vector<std::string> choicesOf(CLI::Option& option) {
  try {
    for (int i = 0;; ++i) {
      const CLI::Validator& validator = *option.get_validator(i);
      for (const std::string& text : {validator.get_name(), validator.get_description()}) {
        if (auto words = listed(text); !words.empty()) return words;
      }
    }
  } catch (const CLI::OptionNotFound&) {
    // How the parser tells that there is no other.
  }
  return {};
}

ValueKind kindOf(const std::string& name) {
  if (name == "DB") return ValueKind::kDatabase;
  const auto in_name = [&](std::string_view part) { return name.find(part) != std::string::npos; };
  return std::ranges::any_of(kFileNames, in_name) ? ValueKind::kFile : ValueKind::kOther;
}

ArgumentDescription describe(CLI::Option& option) {
  ArgumentDescription argument;
  argument.help = option.get_description();
  argument.required = option.get_required();
  argument.repeated = option.get_expected_max() >= CLI::detail::expected_max_vector_size;
  if (option.get_positional()) {
    argument.names = {option.get_name(true)};
    argument.value = argument.names.front();
  } else {
    for (const std::string& name : option.get_snames()) argument.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) argument.names.push_back("--" + name);
    if (option.get_type_size() > 0) argument.value = option.get_type_name();
  }
  if (argument.value.empty()) return argument;
  argument.choices = choicesOf(option);
  argument.kind = argument.choices.empty() ? kindOf(argument.value) : ValueKind::kChoice;
  return argument;
}

CommandDescription describe(const CLI::App& command) {
  CommandDescription description{
      command.get_name(), command.get_description(), command.get_footer(), {}, {}};
  if (const auto codes = description.text.find(kExitCodesHelp); codes != std::string::npos) {
    description.text.erase(codes);
  }
  // Not const, as looking for its validators isn't.
  for (CLI::Option* option : const_cast<CLI::App&>(command).get_options()) {
    if (option->get_group().empty()) continue;
    auto& arguments = option->get_positional() ? description.positionals : description.options;
    arguments.push_back(describe(*option));
  }
  return description;
}

}  // namespace

std::vector<CommandDescription> describeCommands(const CLI::App& app) {
  std::vector<CommandDescription> commands{describe(app)};
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    if (!command->get_group().empty()) commands.push_back(describe(*command));
  }
  return commands;
}

}  // namespace audiomatch
