#include <fmt/core.h>
#include <signal.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <thread>

#include "tool/base/errors.h"
#include "tool/output/messages.h"
#include "tool/output/text.h"
#include "tool/service/service.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kServeHelp =
    "Answers over HTTP which reference of DB, and which channel that `audiomatch listen` sends,\n"
    "a recording was heard on: POST it to /v1/recognise. Says where it listens on standard\n"
    "output, and ends by SIGTERM or SIGINT when what is under way is answered.\n\n";

struct ServeOptions {
  CommonOptions common;
  std::filesystem::path database;
  std::string address = "127.0.0.1:8080";
  AccessFiles access;
  Thresholds thresholds = kThresholds;
  unsigned jobs = std::max(std::thread::hardware_concurrency(), 1u);
};

/// SIGINT and SIGTERM, which are waited for: noted by an InterruptGuard, they would
/// interrupt the answers that are under way, too. Made before all threads.
class EndingSignals {
 public:
  EndingSignals() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }

  /// Waits for a second. True when one came.
  bool wait() const {
    constexpr timespec kSecond{1, 0};
    return sigtimedwait(&signals_, nullptr, &kSecond) >= 0;
  }

 private:
  sigset_t signals_{};
};

/// Serves on a thread of its own, until it goes.
class Serving {
 public:
  explicit Serving(HttpServer& server)
      : server_(server), thread_([this] {
          try {
            server_.run();
          } catch (const std::exception& error) {
            report(error.what());
          }
        }) {}
  Serving(const Serving&) = delete;
  Serving& operator=(const Serving&) = delete;
  ~Serving() { server_.stop(); }

 private:
  HttpServer& server_;
  std::jthread thread_;
};

ExitCode runServe(const ServeOptions& options) {
  applyCommonOptions(options.common);
  const EndingSignals signals;
  std::signal(SIGPIPE, SIG_IGN);
  std::unique_ptr<const ReferenceDatabase> references;
  if (!options.database.empty()) {
    references = std::make_unique<ReferenceDatabase>(options.database);
  }
  Service service(std::move(references), options.thresholds, options.access);
  HttpServer server(options.address, options.jobs, {}, service.handler());
  service.watch(&server);
  const Serving serving(server);
  fmt::print("{}", options.common.json ? jsonLine({{"address", server.address()}})
                                       : fmt::format("listening on http://{}\n", server.address()));
  std::fflush(stdout);
  while (!signals.wait()) service.endSilentChannels();
  return ExitCode::kSuccess;
}

}  // namespace

void addServeCommand(CLI::App& app, Action& action) {
  auto options = std::make_shared<ServeOptions>();
  CLI::App* command = app.add_subcommand("serve", "Answer over HTTP what is playing");
  command->add_option("--db", options->database, "Database of references")->type_name("DB");
  command
      ->add_option("--listen", options->address,
                   "Numeric host and port, 0 for any free one (default 127.0.0.1:8080)")
      ->type_name("ADDRESS");
  command
      ->add_option("--token-file", options->access.changing,
                   "File with the token that changing things needs")
      ->type_name("FILE");
  command
      ->add_option("--read-token-file", options->access.reading,
                   "File with the token that asking needs")
      ->type_name("FILE");
  command->add_option("--jobs", options->jobs, "Requests answered at a time (default: all cores)")
      ->check(between(1u, 256u))
      ->type_name("N");
  addThresholdOptions(*command, options->thresholds);
  addCommonOptions(*command, options->common, "Print JSON instead of text");
  command->footer(std::string(kServeHelp) + kExitCodesHelp);
  command->callback([=, &action] { action = [options] { return runServe(*options); }; });
}

}  // namespace audiomatch
