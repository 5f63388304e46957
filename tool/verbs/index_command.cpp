#include <fmt/core.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <optional>
#include <thread>

#include "match/database/byte_source.h"
#include "match/database/database_format.h"
#include "match/database/database_writer.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/base/parallel.h"
#include "tool/input/input_files.h"
#include "tool/keeping/atomic_file.h"
#include "tool/keeping/entry_selection.h"
#include "tool/keeping/index_report.h"
#include "tool/keeping/reference_analysis.h"
#include "tool/output/progress.h"
#include "tool/verbs/commands.h"

namespace audiomatch {
namespace {

constexpr const char* kIndexHelp =
    "A folder stands for all files below it, sorted by path; those that aren't audio or give no\n"
    "features are skipped with a message. A file given by name has to be audio: else nothing is\n"
    "written, unless --keep-going is given. An audio is called after its file, without folder and\n"
    "extension. A recording longer than 8 min 44 s becomes several audios of the same name.\n"
    "An existing DB is replaced only when the new one is whole.\n\n";

struct IndexOptions {
  CommonOptions common;
  SoundOptions sound;
  std::filesystem::path database;
  std::vector<std::filesystem::path> inputs;
  std::string name;
  std::string entries = "20000";
  unsigned jobs = std::max(std::thread::hardware_concurrency(), 1u);
  bool keep_going = false;
};

/// What an analysis gave: a reference or the reason why there is none;
/// neither, when it wasn't begun.
struct Outcome {
  std::optional<Reference> reference;
  std::string problem;
};

/// Analyses all files, in the order of which outcomes are returned.
std::vector<Outcome> analyseAll(const std::vector<InputFile>& files, const IndexOptions& options) {
  const std::size_t most = options.entries == "all"
                               ? kEveryEntry
                               : static_cast<std::size_t>(std::stoull(options.entries));
  std::vector<Outcome> outcomes(files.size());
  std::atomic<bool> stop = false;
  Progress progress(!options.common.json && !files.empty(), files.size());
  const auto analyse = [&](std::size_t i) {
    if (stop) return;
    try {
      outcomes[i].reference = analyseReference(files[i].path, most, options.sound);
    } catch (const FileError& error) {
      outcomes[i].problem = error.what();
      if (files[i].named && !options.keep_going) stop = true;
    }
  };
  forEachParallel(files.size(), options.jobs, analyse, [&] { progress.step(); });
  return outcomes;
}

/// Tells the user what went wrong. Returns true when a file given by name did.
bool reportProblems(const std::vector<InputFile>& files, const std::vector<Outcome>& outcomes) {
  bool named_failed = false;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string& problem = outcomes[i].problem;
    if (problem.empty()) continue;
    report(files[i].named ? problem : "skipped: " + problem);
    named_failed = named_failed || files[i].named;
  }
  return named_failed;
}

/// Tells the user which of those indexed are damaged.
ExitCode reportDamages(const std::vector<InputFile>& files, const std::vector<Outcome>& outcomes) {
  ExitCode code = ExitCode::kSuccess;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const auto& reference = outcomes[i].reference;
    if (reference) code = worse(code, reportDamage(files[i].path, reference->damage));
  }
  return code;
}

/// Writes the database of those references that there are.
IndexReport write(const std::vector<InputFile>& files, std::vector<Outcome>& outcomes,
                  const IndexOptions& options) {
  IndexReport result{options.database, {}, 0, 0};
  std::vector<audio::DatabaseAudio> audios;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::filesystem::path& path = files[i].path;
    if (!outcomes[i].reference) {
      ++result.skipped;
      continue;
    }
    Reference& reference = *outcomes[i].reference;
    const std::string name = options.name.empty() ? path.stem().string() : options.name;
    result.files.push_back({path, name, reference.parts.size(), reference.seconds,
                            reference.features, reference.entryCount()});
    for (auto& entries : reference.parts) audios.push_back({name, std::move(entries)});
  }
  if (audios.empty()) throw FileError(options.database, "not written: nothing to index");
  AtomicFile file(options.database);
  audio::writeDatabase(audios, file);
  checkInterrupt();
  file.commit();
  result.bytes = file.size();
  return result;
}

/// True for a file that may be replaced by a database: one that isn't there,
/// is empty or has the names and the header of a database. Anything else was
/// hardly meant, such as the first recording when the database was forgotten.
bool mayBecomeDatabase(const std::filesystem::path& path) {
  audio::FileSource file(path.c_str());
  // Whether it can be written is for others to find out.
  if (!file.isOpen() || file.remaining() == 0) return true;
  return audio::readHeader(file, nullptr);
}

/// Throws FileError now rather than after an hour's work.
void checkDatabase(const std::filesystem::path& database) {
  const AtomicFile trial(database);
  if (!mayBecomeDatabase(database)) {
    throw FileError(database,
                    "exists and isn't a database, so it is left alone; the database "
                    "comes first, then the recordings");
  }
}

ExitCode runIndex(const IndexOptions& options) {
  applyCommonOptions(options.common);
  if (!options.name.empty() &&
      (options.inputs.size() != 1 || std::filesystem::is_directory(options.inputs[0]))) {
    throw UsageError("--name goes with a single file");
  }
  const InterruptGuard guard;
  checkDatabase(options.database);
  const InputFiles inputs = expandInputs(options.inputs, options.database);
  for (const std::string& message : inputs.problems) report(message);
  for (const std::string& message : inputs.repeated) report(message);
  bool failed = !inputs.problems.empty();
  const auto give_up = [&] {
    if (!failed || options.keep_going) return false;
    report(
        fmt::format("{}: not written; --keep-going indexes the rest", options.database.string()));
    return true;
  };
  if (give_up()) return ExitCode::kFailure;

  std::vector<Outcome> outcomes = analyseAll(inputs.files, options);
  failed = reportProblems(inputs.files, outcomes) || failed;
  if (give_up()) return ExitCode::kFailure;
  const ExitCode damaged = reportDamages(inputs.files, outcomes);
  IndexReport result = write(inputs.files, outcomes, options);
  result.skipped += inputs.repeated.size() + inputs.problems.size();
  fmt::print("{}", options.common.json ? result.asJson() : result.asTable());
  return failed ? ExitCode::kFailure : damaged;
}

/// "all" or a number from 1 on.
std::string checkEntries(const std::string& text) {
  if (text == "all") return {};
  return CLI::Range(1, 1'000'000'000)(text).empty() &&
                 text.find_first_not_of("0123456789") == std::string::npos
             ? std::string()
             : "must be a whole number above 0, or all";
}

}  // namespace

void addIndexCommand(CLI::App& app, Action& action) {
  auto options = std::make_shared<IndexOptions>();
  CLI::App* command = app.add_subcommand("index", "Make a database of reference recordings");
  command->add_option("DB", options->database, "Database to write")->required()->type_name("");
  command->add_option("FILE-OR-FOLDER", options->inputs, "Reference recordings")
      ->required()
      ->type_name("");
  command->add_option("--name", options->name, "Name of a single file's audio")->type_name("NAME");
  command
      ->add_option("--entries", options->entries,
                   "Entries kept of each audio at most, a number or all (default 20000)")
      ->check(CLI::Validator(checkEntries, ""))
      ->type_name("N");
  command->add_option("--jobs", options->jobs, "Files analysed at a time (default: all cores)")
      ->check(between(1u, 1024u))
      ->type_name("N");
  command->add_flag("--keep-going", options->keep_going,
                    "Index the rest when a file given by name can't be read");
  addSoundOptions(*command, options->sound);
  addCommonOptions(*command, options->common, "Print JSON, an object a line, instead of a table");
  command->footer(std::string(kIndexHelp) + kExitCodesHelp);
  command->callback([options, &action] { action = [options] { return runIndex(*options); }; });
}

}  // namespace audiomatch
