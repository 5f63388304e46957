#include "tool/match_command.h"

#include <fmt/core.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include "match/audio_matcher.h"
#include "tool/errors.h"
#include "tool/recording.h"
#include "tool/table.h"
#include "tool/text.h"

namespace audiomatch {
namespace {

constexpr const char* kMatchHelp =
    "The discrimination tells how clearly the match beat the next best: 0 is a tie, 1 means that\n"
    "there was no other. Level 0 is below 0.35, doubtful; level 1 below 0.5; level 2 is clear.\n\n";

struct MatchOptions {
  CommonOptions common;
  std::filesystem::path database;
  std::vector<std::filesystem::path> files;
};

/// The answer for one file.
struct Answer {
  std::filesystem::path file;
  std::string name;  ///< empty for no match
  std::optional<int> level;
  std::optional<float> discrimination;
  std::size_t features = 0;
  std::size_t hits = 0;
  std::string error;  ///< why there is no match
  ExitCode code = ExitCode::kSuccess;
};

void load(audio::AudioMatcher& matcher, const std::filesystem::path& database) {
  if (access(database.c_str(), R_OK) != 0) throw FileError(database, std::strerror(errno));
  if (!matcher.init(database.c_str())) {
    throw FileError(database,
                    "not a database, or damaged; make one with: audiomatch index DB FILE...");
  }
}

/// Forgets everything that recordings before may have left: the extractor's
/// resampler and the random draws of scoring. An answer then depends on its
/// recording alone.
void startAfresh(audio::AudioMatcher& matcher) {
  if (!matcher.initFeatureExtractor()) throw std::bad_alloc();
  // The state in which the C library starts a process.
  unsigned short state[3] = {0, 0, 0};
  seed48(state);
}

/// Why a recording wasn't matched; the engine only says so to its log.
std::string reasonForNoMatch(audio::AudioMatcher& matcher, const audio::AudioData& recording,
                             Answer& answer) {
  startAfresh(matcher);
  if (!matcher.loadAudio(&recording)) throw std::bad_alloc();
  if (!matcher.extractFeatures()) return "no features: silent, or too short to have any";
  answer.features = matcher.getFeatures().size();
  return "no match: no feature of it is in the database";
}

void matchRecording(audio::AudioMatcher& matcher, const audio::AudioData& recording,
                    Answer& answer) {
  startAfresh(matcher);
  if (!matcher.matchAudio(&recording)) {
    answer.error = reasonForNoMatch(matcher, recording, answer);
    answer.code = ExitCode::kNoMatch;
    return;
  }
  answer.features = matcher.getFeatures().size();
  answer.hits = matcher.hitCount();
  answer.name = matcher.bestMatchName();
  if (answer.name.empty()) {
    answer.error = "the best match has no name: the database is damaged";
    answer.code = ExitCode::kFailure;
    return;
  }
  answer.level = matcher.discriminationLevel();
  answer.discrimination = matcher.discrimination();
}

Answer matchFile(audio::AudioMatcher& matcher, const std::filesystem::path& file) {
  Answer answer;
  answer.file = file;
  try {
    matchRecording(matcher, *readRecording(file), answer);
    if (!answer.error.empty()) report(file.string() + ": " + answer.error);
    return answer;
  } catch (const FileError& error) {
    answer.error = error.what();
  } catch (const std::bad_alloc&) {
    answer.error = file.string() + ": too long for the memory there is; cut out the piece you mean";
  }
  report(answer.error);
  answer.code = ExitCode::kFailure;
  return answer;
}

template <typename Value>
nlohmann::ordered_json orNull(bool present, const Value& value) {
  return present ? nlohmann::ordered_json(value) : nlohmann::ordered_json();
}

std::string asJson(const Answer& answer) {
  return jsonLine({{"file", answer.file.string()},
                   {"name", answer.name},
                   {"level", orNull(answer.level.has_value(), answer.level.value_or(0))},
                   {"discrimination", orNull(answer.discrimination.has_value(),
                                             shortest(answer.discrimination.value_or(0.0f)))},
                   {"features", answer.features},
                   {"hits", answer.hits},
                   {"error", orNull(!answer.error.empty(), answer.error)}});
}

std::string asTable(const std::vector<Answer>& answers) {
  using Align = Table::Align;
  Table table;
  table.addColumn("FILE", Align::kLeft);
  table.addColumn("MATCH", Align::kLeft);
  for (const char* heading : {"LEVEL", "DISCRIMINATION", "FEATURES", "HITS"}) {
    table.addColumn(heading, Align::kRight);
  }
  for (const Answer& answer : answers) {
    table.addRow({answer.file.string(), answer.name.empty() ? "-" : answer.name,
                  answer.level ? std::to_string(*answer.level) : "-",
                  answer.discrimination ? fmt::format("{:.3f}", *answer.discrimination) : "-",
                  std::to_string(answer.features), std::to_string(answer.hits)});
  }
  return table.text();
}

ExitCode runMatch(const MatchOptions& options) {
  applyCommonOptions(options.common);
  audio::AudioMatcher matcher;
  load(matcher, options.database);
  ExitCode code = ExitCode::kSuccess;
  std::vector<Answer> answers;
  for (const std::filesystem::path& file : options.files) {
    answers.push_back(matchFile(matcher, file));
    code = worse(code, answers.back().code);
    if (options.common.json) {
      fmt::print("{}", asJson(answers.back()));
      std::fflush(stdout);
    }
  }
  if (!options.common.json) fmt::print("{}", asTable(answers));
  return code;
}

}  // namespace

void addMatchCommand(CLI::App& app, Action& action) {
  auto options = std::make_shared<MatchOptions>();
  CLI::App* command = app.add_subcommand("match", "Name recordings by a database");
  command->add_option("DB", options->database, "Database made by index")->required()->type_name("");
  command->add_option("FILE", options->files, "Recordings, each matched on its own")
      ->required()
      ->type_name("");
  addCommonOptions(*command, options->common, "Print JSON, an object a line, instead of a table");
  command->footer(std::string(kMatchHelp) + kExitCodesHelp);
  command->callback([options, &action] { action = [options] { return runMatch(*options); }; });
}

}  // namespace audiomatch
