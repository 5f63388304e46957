#include "tool/verbs/command.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

namespace audiomatch {

template <typename Number>
Check between(Number least, Number most) {
  // Which lets through what isn't a number.
  const CLI::Range range(least, most);
  return {[range](const std::string& text) {
    double value = 0.0;
    if (CLI::detail::lexical_cast(text, value) && std::isnan(value)) return text + " is no number";
    return range(text);
  }};
}

template Check between(int, int);
template Check between(unsigned, unsigned);
template Check between(std::uint64_t, std::uint64_t);
template Check between(double, double);

Check oneOf(std::vector<std::string> words) { return {{}, std::move(words)}; }

Option Option::check(const Check& check) const {
  // Help stays as it is: what a validator describes would stand in it.
  if (check.problem) {
    option_->check(CLI::Validator(check.problem, ""));
  } else {
    const CLI::IsMember member(check.words);
    option_->check(CLI::Validator(member).name(member.get_description()).description(""));
  }
  return *this;
}

Option Option::valueName(const std::string& name) const {
  option_->type_name(name);
  return *this;
}

Option Option::required() const {
  option_->required();
  return *this;
}

Option Option::needs(const Option& other) const {
  option_->needs(other.option_);
  return *this;
}

Option Option::excludes(const Option& other) const {
  option_->excludes(other.option_);
  return *this;
}

bool Option::isGiven() const { return option_->count() > 0; }

Command Command::program(const std::string& name, const std::string& version,
                         const std::string& about) const {
  app_->name(name);
  app_->description(about);
  app_->set_version_flag("--version", name + " " + version);
  app_->require_subcommand(1);
  return *this;
}

Command Command::subcommand(const std::string& name, const std::string& about) const {
  return Command(*app_->add_subcommand(name, about));
}

template <typename Value>
Option Command::argument(const std::string& name, Value& value, const std::string& help) const {
  // What the parser would call its type stands beside its name otherwise.
  return Option(*app_->add_option(name, value, help)).valueName("");
}

template Option Command::argument(const std::string&, std::string&, const std::string&) const;
template Option Command::argument(const std::string&, std::filesystem::path&,
                                  const std::string&) const;
template Option Command::argument(const std::string&, std::vector<std::string>&,
                                  const std::string&) const;
template Option Command::argument(const std::string&, std::vector<std::filesystem::path>&,
                                  const std::string&) const;

template <typename Value>
Option Command::option(const std::string& names, Value& value, const std::string& help) const {
  return Option(*app_->add_option(names, value, help));
}

template Option Command::option(const std::string&, int&, const std::string&) const;
template Option Command::option(const std::string&, unsigned&, const std::string&) const;
template Option Command::option(const std::string&, double&, const std::string&) const;
template Option Command::option(const std::string&, std::string&, const std::string&) const;
template Option Command::option(const std::string&, std::optional<std::string>&,
                                const std::string&) const;
template Option Command::option(const std::string&, std::filesystem::path&,
                                const std::string&) const;
template <typename Value>
Option Command::optionCalling(const std::string& names,
                              const std::function<void(const Value&)>& take,
                              const std::string& help) const {
  return Option(*app_->add_option_function<Value>(names, take, help));
}

template Option Command::optionCalling(const std::string&,
                                       const std::function<void(const std::uint64_t&)>&,
                                       const std::string&) const;
template Option Command::optionCalling(const std::string&,
                                       const std::function<void(const std::string&)>&,
                                       const std::string&) const;

Option Command::flag(const std::string& names, bool& value, const std::string& help) const {
  return Option(*app_->add_flag(names, value, help));
}

void Command::flagCalling(const std::string& names, const std::function<void()>& take,
                          const std::string& help) const {
  app_->add_flag_callback(names, take, help);
}

void Command::footer(const std::string& text) const { app_->footer(text); }

void Command::whenParsed(const std::function<void()>& act) const { app_->callback(act); }

}  // namespace audiomatch
