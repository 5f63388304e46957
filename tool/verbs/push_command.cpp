#include <fmt/core.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/output/messages.h"
#include "tool/output/progress.h"
#include "tool/output/text.h"
#include "tool/store/database_push.h"
#include "tool/store/open_store.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kPushHelp =
    "Brings the references of a database into a store that servers look into: a Redis Cluster,\n"
    "redis://HOST:PORT[,HOST:PORT...], or the folder of a server that isn't running. It may be\n"
    "interrupted and repeated: what the store has already is left as it is.\n\n";

struct PushOptions {
  CommonOptions common;
  std::filesystem::path database;
  std::string store;
};

/// Pushes, and shows how far it is.
Pushed push(const PushOptions& options) try {
  const std::unique_ptr<ReferenceStore> store = openReferenceStore(options.store);
  // In thousandths, as the number of entries is known only later.
  Progress bar(!options.common.json, 1000);
  std::uint64_t shown = 0;
  return pushDatabase(options.database, *store, [&](std::uint64_t done, std::uint64_t of) {
    const std::uint64_t now = of == 0 ? 1000 : done * 1000 / of;
    if (now > shown) bar.step(now - shown);
    shown = std::max(now, shown);
  });
} catch (const Interrupted& interrupted) {
  report("interrupted; what was added stays, run this again for the rest");
  dieBySignal(interrupted.signal());
}

ExitCode runPush(const PushOptions& options) {
  applyCommonOptions(options.common);
  const InterruptGuard guard;
  const Pushed pushed = push(options);
  for (const std::string& name : pushed.conflicts) {
    report("the store has another reference of this name; left out", name);
  }
  fmt::print("{}", options.common.json
                       ? jsonLine({{"store", shownPlace(options.store)},
                                   {"added", pushed.added},
                                   {"present", pushed.present},
                                   {"conflicts", pushed.conflicts.size()},
                                   {"entries", pushed.entries}})
                       : fmt::format("{} references added with {} entries, {} were there\n",
                                     pushed.added, pushed.entries, pushed.present));
  return pushed.conflicts.empty() ? ExitCode::kSuccess : ExitCode::kFailure;
}

}  // namespace

void addPushCommand(const Command& app, Action& action) {
  auto options = std::make_shared<PushOptions>();
  const Command command = app.subcommand("push", "Bring a database's references into a store");
  addDatabaseArgument(command, options->database, "Database made by index");
  const auto check = [](const std::string& place) {
    return place == "none" ? "none keeps nothing; give a folder or redis://HOST:PORT"
                           : problemOfPlace(place);
  };
  command.option("--store", options->store, "Redis Cluster or folder")
      .required()
      .check(Check{check})
      .valueName("STORE");
  addCommonOptions(command, options->common, "Print JSON instead of text");
  command.footer(std::string(kPushHelp) + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runPush(*options); });
}

}  // namespace audiomatch
