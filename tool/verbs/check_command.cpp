#include <fmt/core.h>

#include <memory>

#include "tool/keeping/background.h"
#include "tool/keeping/database_check.h"
#include "tool/output/display_text.h"
#include "tool/output/text.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kCheckHelp =
    "Looks at every count and index of the database, and compares its catalogue. The first fault\n"
    "is given with its byte, counted from 0, and with what loading makes of the database.\n\n";

struct CheckOptions {
  CommonOptions common;
  std::filesystem::path database;
};

void printText(const std::string& path, const DatabaseCheck& check) {
  const std::string database = printable(path);
  fmt::print("{}: {}\n", database,
             check.fault
                 ? "damaged " + describe(*check.fault)
                 : fmt::format("whole: {} audios, {} entries{}, {} bytes", check.audios,
                               check.entries, withBackground(check.background), check.bytes));
  if (check.fault) fmt::print("{}: {}\n", database, describeLoading(check));
  fmt::print("{}: catalogue: {}\n", database,
             !check.has_catalogue               ? "none"
             : !check.catalogue_problem.empty() ? printable(check.catalogue_problem)
             : check.fault                      ? "not compared"
                                                : "agrees");
}

void printJson(const std::string& database, const DatabaseCheck& check) {
  using Json = nlohmann::ordered_json;
  fmt::print(
      "{}", jsonLine({{"database", database},
                      {"whole", !check.fault},
                      {"fault", check.fault ? Json(describe(*check.fault)) : Json()},
                      {"offset", check.fault ? Json(check.fault->offset) : Json()},
                      {"loading", describeLoading(check)},
                      {"audios", check.audios},
                      {"entries", check.entries},
                      {"background", check.background},
                      {"bytes", check.bytes},
                      {"catalogue", check.has_catalogue},
                      {"catalogueFault",
                       check.catalogue_problem.empty() ? Json() : Json(check.catalogue_problem)}}));
}

ExitCode runCheck(const CheckOptions& options) {
  applyCommonOptions(options.common);
  const DatabaseCheck check = checkDatabase(options.database);
  options.common.json ? printJson(options.database.string(), check)
                      : printText(options.database.string(), check);
  return check.fault || !check.catalogue_problem.empty() ? ExitCode::kFailure : ExitCode::kSuccess;
}

}  // namespace

void addCheckCommand(const Command& app, Action& action) {
  auto options = std::make_shared<CheckOptions>();
  const Command command = app.subcommand("check", "Look for faults in a database");
  addDatabaseArgument(command, options->database, "Database");
  addCommonOptions(command, options->common, "Print JSON, an object, instead of text");
  command.footer(std::string(kCheckHelp) + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runCheck(*options); });
}

}  // namespace audiomatch
