#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include "base/analysis_grid.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/base/parallel.h"
#include "tool/input/input_files.h"
#include "tool/keeping/input_list.h"
#include "tool/output/display_text.h"
#include "tool/output/messages.h"
#include "tool/output/ordered_output.h"
#include "tool/output/progress.h"
#include "tool/output/text.h"
#include "tool/recognition/match_job.h"
#include "tool/recognition/speed_search.h"
#include "tool/store/open_store.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kMatchHelp =
    "A recording is recognised when enough of its features agree with one place of a reference,\n"
    "and clearly more than with any of another name; else its best candidate is shown as such.\n"
    "One that is longer than a minute is listened to window by window, and so is standard input\n"
    "(-), of which each change is printed at once: arecord -f S16_LE -r 16000 | audiomatch match\n"
    "DB - follows a microphone. LEVEL is the engine's own: how clearly its first audio beat the\n"
    "second, whatever their names.\n\n";

struct MatchOptions {
  CommonOptions common;
  std::filesystem::path database;
  std::vector<std::filesystem::path> inputs;
  std::filesystem::path list;
  bool null = false;
  bool timeline = false;
  bool whole = false;
  bool explain = false;
  bool raw_given = false;
  RawFormat raw;
  unsigned jobs = std::max(std::thread::hardware_concurrency(), 1u);
  MatchJob job;

  bool fromPipe() const { return list.empty() && inputs.size() == 1 && inputs[0] == "-"; }
};

/// Turns rows into what is printed of them.
class RowPrinter {
 public:
  RowPrinter(const MatchOptions& options, const std::vector<InputFile>& files)
      : options_(options), layout_(matchLayout(widestOf(files), options.job.speed > 0.0)) {}

  std::string heading() const { return options_.common.json ? std::string() : layout_.head(); }

  std::string text(const MatchRow& row, const char* event = "heard") const {
    if (options_.common.json) return jsonLine(asJson(row, event, options_.explain));
    return layout_.row(cellsOf(row, options_.job.speed > 0.0)) +
           (options_.explain ? explanation(row) : std::string());
  }

  /// A line on what is heard now.
  std::string change(const MatchRow& row) const {
    if (options_.common.json) return text(row, "now");
    const Heard& heard = row.heard;
    std::string line = clockTime(heard.from) + "  ";
    if (!row.isRecognised())
      return line + (heard.kind == Heard::Kind::kSilence ? "silence\n" : "unknown\n");
    line += fmt::format("{}, from {} on ({} features agree)\n", printable(heard.name),
                        clockTime(heard.position), heard.surest.agreeing);
    return line + (options_.explain ? explanation(row) : std::string());
  }

 private:
  static std::size_t widestOf(const std::vector<InputFile>& files) {
    std::size_t widest = 0;
    for (const InputFile& file : files) {
      widest = std::max(widest, displayWidth(printable(file.path.string())));
    }
    return widest;
  }

  const MatchOptions& options_;
  TableLayout layout_;
};

/// The recordings that the arguments stand for: each as often as it is named.
std::vector<InputFile> recordingsOf(const MatchOptions& options, ExitCode& code) {
  std::vector<InputFile> recordings;
  for (const std::filesystem::path& argument : options.inputs) {
    std::error_code error;
    if (!std::filesystem::is_directory(argument, error)) {
      recordings.push_back({argument, true});
      continue;
    }
    const InputFiles found = expandInputs({argument}, options.database);
    recordings.insert(recordings.end(), found.files.begin(), found.files.end());
    for (const FileError& problem : found.problems) {
      report(problem);
      code = ExitCode::kFailure;
    }
  }
  if (options.list.empty()) return recordings;
  for (const ListedFile& file : readInputList(options.list, options.null)) {
    recordings.push_back({file.path, true});
  }
  return recordings;
}

ExitCode matchFiles(const MatchOptions& options, const References& references) {
  ExitCode code = ExitCode::kSuccess;
  const std::vector<InputFile> files = recordingsOf(options, code);
  const RowPrinter printer(options, files);
  fmt::print("{}", printer.heading());
  OrderedOutput output(files.size());
  std::vector<ExitCode> codes(files.size(), ExitCode::kSuccess);
  std::atomic<std::size_t> rows = 0;
  MatchJob job = options.job;
  const auto at_a_time = static_cast<unsigned>(std::clamp<std::size_t>(files.size(), 1, 1024));
  job.listening.jobs = std::max(options.jobs / at_a_time, 1u);
  job.show_progress = files.size() == 1;
  Progress progress(files.size() > 1, files.size());
  const auto match = [&](std::size_t i) {
    codes[i] = matchFile(files[i], references, job, [&](const MatchRow& row) {
      ++rows;
      output.print(i, printer.text(row));
    });
    output.finish(i);
  };
  forEachParallel(files.size(), options.jobs, match, [&] { progress.step(); });
  for (const ExitCode one : codes) code = worse(code, one);
  if (code != ExitCode::kSuccess || rows > 0) return code;
  throw FileError(options.inputs.empty() ? options.list : options.inputs[0],
                  "there is no recording to be matched");
}

ExitCode matchPipe(const MatchOptions& options, const References& references) {
  const RowPrinter printer(options, {});
  const auto print = [](const std::string& text) {
    fmt::print("{}", text);
    std::fflush(stdout);
  };
  // For people the rows of --timeline, or the changes; for programs both.
  const bool rows = options.timeline || options.common.json;
  const bool changes = !options.timeline || options.common.json;
  if (rows) print(printer.heading());
  return matchStandardInput(
      options.raw_given ? std::optional(options.raw) : std::nullopt, references, options.job,
      [&](const MatchRow& row) {
        if (rows) print(printer.text(row));
      },
      [&](const MatchRow& row) {
        if (changes) print(printer.change(row));
      });
}

void checkArguments(const MatchOptions& options) {
  if (options.raw_given && !options.fromPipe()) {
    throw UsageError("--rate, --channels and --format describe standard input, FILE -");
  }
  if (options.inputs.empty() && options.list.empty()) {
    throw UsageError("FILE-OR-FOLDER or --list is required");
  }
  if (!options.fromPipe() && std::ranges::find(options.inputs, "-") != options.inputs.end()) {
    throw UsageError("-, standard input, goes alone");
  }
  if (options.timeline && options.whole) {
    throw UsageError("--timeline and --whole exclude each other");
  }
  if (options.job.speed > 0.0 && (options.timeline || options.fromPipe())) {
    throw UsageError("--speed takes files, each as a whole");
  }
  if (options.whole && options.fromPipe()) {
    throw UsageError("--whole takes files; standard input is listened to window by window");
  }
  if (options.job.listening.grid.every > options.job.listening.grid.length) {
    throw UsageError("--every must not be longer than --window");
  }
}

ExitCode runMatch(const MatchOptions& options) {
  applyCommonOptions(options.common);
  checkArguments(options);
  const InterruptGuard guard;
  const std::unique_ptr<const References> database = openReferences(options.database);
  return options.fromPipe() ? matchPipe(options, *database) : matchFiles(options, *database);
}

void addWindows(const Command& command, const std::shared_ptr<MatchOptions>& options) {
  WindowGrid& grid = options->job.listening.grid;
  command.flag("--timeline", options->timeline,
               "What was heard from when to when, also of short recordings");
  command.flag("--whole", options->whole, "One answer for each file, however long");
  command
      .option("--speed", options->job.speed,
              fmt::format("Try speeds up to so many per cent faster and slower, {} to {:.0f}, of "
                          "each file as a whole, and say which it was",
                          SpeedSearch::kStep, SpeedSearch::kFarthest))
      .check(between(SpeedSearch::kStep, SpeedSearch::kFarthest))
      .valueName("PERCENT");
  command
      .option("--window", grid.length,
              fmt::format("Seconds listened to at a time, 1 to 60 (default {})", grid.length))
      .check(between(1.0, 60.0))
      .valueName("S");
  command
      .option("--every", grid.every,
              fmt::format("Seconds from one window to the next, 0.5 on (default {})", grid.every))
      .check(between(0.5, 60.0))
      .valueName("S");
}

}  // namespace

void addMatchCommand(const Command& app, Action& action) {
  auto options = std::make_shared<MatchOptions>();
  const Command command = app.subcommand("match", "Recognise recordings by a database");
  command.argument("DB", options->database, "Database made by index, or redis://HOST:PORT")
      .required();
  command.argument("FILE-OR-FOLDER", options->inputs,
                   "Recordings, each on its own, or - for sound on standard input");
  const Option list = command
                          .option("--list", options->list,
                                  "Take files from LIST, - for standard input, a line each")
                          .valueName("LIST");
  command.flag("-0,--null", options->null, "LIST has files each ended by a zero byte").needs(list);
  addWindows(command, options);
  addThresholdOptions(command, options->job.listening.thresholds);
  command.flag("--explain", options->explain, "List the leading candidates too");
  command.option("--jobs", options->jobs, "Files matched at a time (default: all cores)")
      .check(between(1u, 1024u))
      .valueName("N");
  const auto raw_given = addRawOptions(command, options->raw, "standard input");
  addSoundOptions(command, options->job.sound);
  addExactOption(command, options->job.sound);
  addCommonOptions(command, options->common, "Print JSON, an object a line, instead of a table");
  command.footer(std::string(kMatchHelp) + kExitCodesHelp);
  command.whenParsed([=, &action] {
    options->raw_given = raw_given();
    if (options->timeline) options->job.shape = MatchJob::Shape::kTimeline;
    if (options->whole || options->job.speed > 0.0) options->job.shape = MatchJob::Shape::kWhole;
    action = [options] { return runMatch(*options); };
  });
}

}  // namespace audiomatch
