#include <fmt/core.h>

#include <memory>

#include "match/database/packed_entry.h"
#include "tool/keeping/catalogue.h"
#include "tool/keeping/database_file.h"
#include "tool/output/table.h"
#include "tool/output/text.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kListHelp =
    "Seconds and files are those of the catalogue, DB.catalogue.json, and - where it doesn't "
    "tell. Audios without a name are background, which stands for all that isn't known.\n\n";

struct ListOptions {
  CommonOptions common;
  std::filesystem::path database;
};

Catalogue read(const std::filesystem::path& database) {
  DatabaseFile file(database);
  Catalogue catalogue = loadCatalogue(database, file.names());
  std::vector<std::uint64_t> entries_of(file.names().size());
  std::vector<std::uint64_t> bucket;
  while (file.nextBucket(bucket)) {
    for (const std::uint64_t entry : bucket) ++entries_of[audio::entryAudioIndex(entry)];
  }
  catalogue.countEntries(entries_of);
  return catalogue;
}

void printTable(const Catalogue& catalogue) {
  using Align = Table::Align;
  Table table;
  table.addColumn("NAME", Align::kLeft);
  for (const char* heading : {"PARTS", "SECONDS", "ENTRIES"}) {
    table.addColumn(heading, Align::kRight);
  }
  table.addColumn("FILE", Align::kLeft);
  for (const KeptRecording& recording : catalogue.recordings()) {
    table.addRow({recording.name, std::to_string(recording.parts),
                  recording.seconds ? fmt::format("{:.1f}", *recording.seconds) : "-",
                  std::to_string(*recording.entries),
                  recording.file.empty() ? "-" : recording.file.string()});
  }
  if (const std::size_t background = catalogue.background().size(); background > 0) {
    table.addRow({"(background)", std::to_string(background), "-",
                  std::to_string(catalogue.backgroundEntries()), "-"});
  }
  fmt::print("{}", table.text());
}

void printJson(const Catalogue& catalogue) {
  using Json = nlohmann::ordered_json;
  for (const KeptRecording& recording : catalogue.recordings()) {
    fmt::print(
        "{}",
        jsonLine({{"name", recording.name},
                  {"parts", recording.parts},
                  {"seconds", recording.seconds ? Json(*recording.seconds) : Json()},
                  {"entries", *recording.entries},
                  {"file", recording.file.empty() ? Json() : Json(recording.file.string())}}));
  }
  if (const std::size_t background = catalogue.background().size(); background > 0) {
    fmt::print("{}", jsonLine({{"name", ""},
                               {"parts", background},
                               {"seconds", nullptr},
                               {"entries", catalogue.backgroundEntries()},
                               {"file", nullptr},
                               {"background", true}}));
  }
}

ExitCode runList(const ListOptions& options) {
  applyCommonOptions(options.common);
  const Catalogue catalogue = read(options.database);
  options.common.json ? printJson(catalogue) : printTable(catalogue);
  return ExitCode::kSuccess;
}

}  // namespace

void addListCommand(const Command& app, Action& action) {
  auto options = std::make_shared<ListOptions>();
  const Command command = app.subcommand("list", "List a database's recordings");
  addDatabaseArgument(command, options->database, "Database");
  addCommonOptions(command, options->common, "Print JSON, an object a line, instead of a table");
  command.footer(std::string(kListHelp) + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runList(*options); });
}

}  // namespace audiomatch
