#include <fmt/core.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include "match/audio_matcher.h"
#include "tool/base/errors.h"
#include "tool/input/recording.h"
#include "tool/output/table.h"
#include "tool/output/text.h"
#include "tool/verbs/commands.h"

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
  if (matcher.init(database.c_str())) {
    if (matcher.databaseState() != audio::DatabaseState::kWhole) {
      report(database.string() + ": isn't whole; what can't be read of it counts as empty");
    }
    return;
  }
  switch (matcher.databaseState()) {
    case audio::DatabaseState::kCannotOpen:
      throw FileError(database, std::strerror(matcher.openingError()));
    case audio::DatabaseState::kReadFailed:
      throw FileError(database, "can't be read to its end; it may be a folder, or the disk failed");
    case audio::DatabaseState::kDamaged:
      throw FileError(database,
                      "not a database, or damaged; make one with: audiomatch index DB FILE...");
    default:
      throw std::bad_alloc();
  }
}

/// Notes why there is no match.
void explain(const audio::AudioMatcher& matcher, Answer& answer) {
  answer.code = ExitCode::kNoMatch;
  switch (matcher.outcome()) {
    case audio::MatchOutcome::kNoFeatures:
      answer.error = describe(matcher.extractionOutcome());
      if (!isAnalysable(matcher.extractionOutcome())) answer.code = ExitCode::kFailure;
      return;
    case audio::MatchOutcome::kNoHits:
      answer.error = "no match: no feature of it is in the database";
      return;
    case audio::MatchOutcome::kNoAgreement:
    case audio::MatchOutcome::kDamagedDatabase:
      answer.error = "the database is damaged: it names audios or entries that it hasn't got";
      answer.code = ExitCode::kFailure;
      return;
    default:
      throw std::bad_alloc();
  }
}

void matchRecording(audio::AudioMatcher& matcher, const audio::AudioData& recording,
                    Answer& answer) {
  // So that an answer depends on its recording alone.
  if (!matcher.forgetHistory()) throw std::bad_alloc();
  const bool matched = matcher.matchAudio(&recording);
  if (matcher.extractionOutcome() == audio::ExtractionOutcome::kFeatures) {
    answer.features = matcher.getFeatures().size();
  }
  answer.hits = matcher.hitCount();
  if (!matched) return explain(matcher, answer);
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
