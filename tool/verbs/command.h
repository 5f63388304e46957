#pragma once

#include <functional>
#include <string>
#include <vector>

// The parser's header takes several times as long to compile as all else that a verb
// needs, so one file has it for all of them.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace audiomatch {

/// Which values an option takes.
struct Check {
  /// What is wrong with a value, for the user; empty where nothing is.
  std::function<std::string(const std::string& value)> problem;
  /// The few words that it takes, which completion offers; without a `problem`.
  std::vector<std::string> words = {};
};

/// Takes numbers of a range. For int, unsigned, std::uint64_t and double.
template <typename Number>
Check between(Number least, Number most);

/// Takes one of some words.
Check oneOf(std::vector<std::string> words);

/// An option or positional argument: a handle to what the parser owns. Throws std::bad_alloc.
class Option {
 public:
  /// @param option  outlives this object
  explicit Option(CLI::Option& option) noexcept : option_(&option) {}

  /// Refuses other values, when the command line is parsed.
  Option check(const Check& check) const;

  /// How help calls the value.
  Option valueName(const std::string& name) const;

  /// Refuses a command line without it.
  Option required() const;

  /// Refuses a command line with it and without the other.
  Option needs(const Option& other) const;

  /// Refuses a command line with both.
  Option excludes(const Option& other) const;

  /// Whether the command line that was parsed has it.
  bool isGiven() const;

 private:
  CLI::Option* option_;
};

/// The tool or one of its commands, to which options are added: a handle to what the
/// parser owns. Values are set when the command line is parsed, so they, and what is
/// called then, have to live until then. Throws std::bad_alloc.
class Command {
 public:
  /// @param app  outlives this object
  explicit Command(CLI::App& app) noexcept : app_(&app) {}

  /// Makes this the program, which has commands and needs one.
  Command program(const std::string& name, const std::string& version,
                  const std::string& about) const;

  /// Adds a command, which help calls by a name and a sentence.
  Command subcommand(const std::string& name, const std::string& about) const;

  /// Adds an argument that stands by its place; help calls it by its name, "FILE". For
  /// std::string, std::filesystem::path, and vectors of them.
  template <typename Value>
  Option argument(const std::string& name, Value& value, const std::string& help) const;

  /// Adds an option. For int, unsigned, double, std::string, std::optional<std::string> and
  /// std::filesystem::path.
  ///
  /// @param names  "--jobs" or "-o,--output"
  template <typename Value>
  Option option(const std::string& names, Value& value, const std::string& help) const;

  /// Adds an option whose value is handed to `take`. For std::uint64_t and std::string.
  template <typename Value>
  Option optionCalling(const std::string& names, const std::function<void(const Value&)>& take,
                       const std::string& help) const;

  /// Adds an option without a value, which makes `value` true.
  Option flag(const std::string& names, bool& value, const std::string& help) const;

  /// Adds an option without a value; `take` is called when the command line has it.
  void flagCalling(const std::string& names, const std::function<void()>& take,
                   const std::string& help) const;

  /// Sets what help says behind the options.
  void footer(const std::string& text) const;

  /// Sets what is called when the command line has this command, after the values are set.
  void whenParsed(const std::function<void()>& act) const;

 private:
  CLI::App* app_;
};

}  // namespace audiomatch
