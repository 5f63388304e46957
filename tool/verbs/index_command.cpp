#include <fmt/core.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>

#include "tool/base/errors.h"
#include "tool/keeping/entry_selection.h"
#include "tool/keeping/ingest.h"
#include "tool/keeping/reference_analysis.h"
#include "tool/output/messages.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kInputsHelp =
    "A folder stands for all files below it, sorted by path; those that aren't audio or give no\n"
    "features are skipped with a message. A file given by name has to be audio: else nothing is\n"
    "written, unless --keep-going is given. A recording is called after its file, without its\n"
    "extension, and with as much of its path in front as tells it from others. One that is longer\n"
    "than 8 min 44 s becomes several audios of the same name. The same audio under another name "
    "is\n"
    "left out, with a message. An existing DB is replaced only when the new one is whole.\n\n";

constexpr const char* kAddHelp =
    "Files that are in the database already are left out, so a folder that has grown can be added\n"
    "again. A database that isn't there is made.\n\n";

struct IndexOptions {
  CommonOptions common;
  IngestOptions ingest;
  std::string entries = std::to_string(kUsualRoom);
  std::string background;
  bool replace = false;
};

bool isFolder(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

/// Says what would serve a new collection of long recordings alone better than the usual room.
void adviseOnLong(const IndexReport& report, std::size_t room) {
  constexpr std::size_t kPartsOfLong = 3;
  const bool are_long = std::ranges::all_of(
      report.files, [](const IndexedFile& file) { return file.parts >= kPartsOfLong; });
  if (report.files.empty() || !are_long || room != kUsualRoom) return;
  note(fmt::format(
      "all recordings are long: with --entries {} more of their excerpts are recognised",
      kRoomOfLong));
}

ExitCode runIngest(const IndexOptions& options, bool add) {
  applyCommonOptions(options.common);
  IngestOptions request = options.ingest;
  if (request.inputs.empty() && request.list.empty()) {
    throw UsageError("FILE-OR-FOLDER or --list is required");
  }
  if (request.name && (request.inputs.size() != 1 || !request.list.empty() ||
                       isFolder(request.inputs[0]) || request.name->empty())) {
    throw UsageError("--name goes with a single file and isn't empty");
  }
  request.batch.room = options.entries == "all"
                           ? kEveryEntry
                           : static_cast<std::size_t>(std::stoull(options.entries));
  if (!options.background.empty()) {
    request.background = options.background == "none" ? 0 : std::stoul(options.background);
  }
  request.batch.show_progress = !options.common.json;
  const Ingested done = ingest(request, add, options.replace);
  if (done.report) {
    fmt::print("{}", options.common.json ? done.report->asJson() : done.report->asTable());
    if (!add) adviseOnLong(*done.report, request.batch.room);
  }
  return done.code;
}

/// A word, or a number from 1 to `most`.
Check numberOr(const std::string& word, std::size_t most) {
  const auto check = [word, most](const std::string& text) {
    if (text == word) return std::string();
    return between(std::size_t{1}, most).problem(text).empty() &&
                   text.find_first_not_of("0123456789") == std::string::npos
               ? std::string()
               : fmt::format("must be a whole number from 1 to {}, or {}", most, word);
  };
  return {check};
}

void addNaming(const Command& command, IngestOptions& options) {
  command.option("--name", options.name, "Name of a single file's recording").valueName("NAME");
  const auto take_source = [&options](const std::string& word) {
    options.name_from = word == "stem"   ? NameSource::kStem
                        : word == "tags" ? NameSource::kTags
                                         : NameSource::kPath;
  };
  command
      .optionCalling<std::string>(
          "--name-from", take_source,
          "Call recordings after path (the default), stem, or tags (Artist - Title)")
      .check(oneOf({"path", "stem", "tags"}))
      .valueName("SOURCE");
  const Option list = command.option("--list", options.list,
                                     "Take files from LIST, - for standard input: lines of FILE or "
                                     "FILE<tab>NAME");
  list.valueName("LIST");
  command.flag("-0,--null", options.null, "LIST has FILEs alone, each ended by a zero byte")
      .needs(list);
}

void addAnalysis(const Command& command, IndexOptions& options) {
  command
      .option("--entries", options.entries,
              fmt::format("Room for so many entries of each audio, or all; those of rare keys "
                          "take less of it (default {})",
                          kUsualRoom))
      .check(numberOr("all", 1'000'000'000))
      .valueName("N");
  command
      .option("--background", options.background,
              fmt::format("Add N audios without a name, which attract what isn't known, or none; "
                          "at most {} audios in all (default: what few references need)",
                          kMostWithBackground))
      .check(numberOr("none", kMostWithBackground))
      .valueName("N");
  options.ingest.batch.jobs = std::max(std::thread::hardware_concurrency(), 1u);
  command
      .option("--jobs", options.ingest.batch.jobs, "Files analysed at a time (default: all cores)")
      .check(between(1u, 1024u))
      .valueName("N");
  command
      .optionCalling<std::uint64_t>(
          "--memory", [&options](std::uint64_t mib) { options.ingest.memory = mib << 20; },
          fmt::format("MiB for new entries and finding duplicates; entries beyond go to the disk "
                      "(default {})",
                      kUsualMemory >> 20))
      .check(between(std::uint64_t{3}, std::uint64_t{1} << 20))
      .valueName("MIB");
  command.flag("--keep-going", options.ingest.batch.keep_going,
               "Take the rest when a file given by name can't be taken");
  command.flag("--keep-duplicates", options.ingest.keep_duplicates,
               "Take the same audio under another name, too");
}

Command addIngestCommand(const Command& app, const std::shared_ptr<IndexOptions>& options,
                         const char* name, const char* about) {
  const Command command = app.subcommand(name, about);
  addDatabaseArgument(command, options->ingest.database, "Database to write");
  command.argument("FILE-OR-FOLDER", options->ingest.inputs, "Reference recordings");
  addNaming(command, options->ingest);
  addAnalysis(command, *options);
  addSoundOptions(command, options->ingest.batch.sound);
  addExactOption(command, options->ingest.batch.sound);
  addCommonOptions(command, options->common, "Print JSON, an object a line, instead of a table");
  return command;
}

}  // namespace

void addIndexCommand(const Command& app, Action& action) {
  auto options = std::make_shared<IndexOptions>();
  const Command command =
      addIngestCommand(app, options, "index", "Make a database of reference recordings");
  command.flag("--replace", options->replace, "Replace a database that is there");
  command.footer(std::string(kInputsHelp) + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runIngest(*options, false); });
}

void addAddCommand(const Command& app, Action& action) {
  auto options = std::make_shared<IndexOptions>();
  const Command command = addIngestCommand(app, options, "add", "Add recordings to a database");
  command.footer(std::string(kAddHelp) + kInputsHelp + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runIngest(*options, true); });
}

}  // namespace audiomatch
