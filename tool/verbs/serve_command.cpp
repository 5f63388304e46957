#include <fmt/core.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "tool/base/errors.h"
#include "tool/output/messages.h"
#include "tool/output/text.h"
#include "tool/recognition/no_references.h"
#include "tool/service/service.h"
#include "tool/store/open_store.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

// Descriptors that the process opens for itself, and for each job: its recording and
// what decodes it, and a connection to each node of a cluster.
constexpr rlim_t kOwnFiles = 64;
constexpr rlim_t kFilesOfJob = 4;
constexpr rlim_t kNodes = 16;

constexpr const char* kServeHelp =
    "Answers over HTTP which reference of DB, and which channel that `audiomatch listen` sends,\n"
    "a recording was heard on: POST it to /v1/recognise. Says where it listens on standard\n"
    "output, and ends by SIGTERM or SIGINT when what is under way is answered, by a second one\n"
    "at once.\n\n";

struct ServeOptions {
  CommonOptions common;
  std::filesystem::path database;
  std::string store;
  std::string address = "127.0.0.1:8080";
  AccessFiles access;
  Thresholds thresholds = kThresholds;
  unsigned jobs = std::max(std::thread::hardware_concurrency(), 1u);

  /// Where the server keeps what it is given: unless it is told, beside the database.
  std::string place() const {
    if (!store.empty()) return store;
    return database.empty() ? "audiomatch.store" : database.string() + ".store";
  }
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

  /// From now on they end the process, at once.
  ~EndingSignals() { pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr); }
  EndingSignals(const EndingSignals&) = delete;
  EndingSignals& operator=(const EndingSignals&) = delete;

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
      : server_(server), run_(std::async(std::launch::async, [&server] { server.run(); })) {}
  Serving(const Serving&) = delete;
  Serving& operator=(const Serving&) = delete;
  // Waits for the thread.
  ~Serving() { server_.stop(); }

  bool goesOn() const {
    return run_.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
  }

  /// Ends it, and throws what it ended by before.
  void end() {
    server_.stop();
    run_.get();
  }

 private:
  HttpServer& server_;
  std::future<void> run_;
};

/// Shows a service its server, as long as that is there.
class Watching {
 public:
  Watching(Service& service, const HttpServer& server) : service_(service) {
    service_.watch(&server);
  }
  Watching(const Watching&) = delete;
  Watching& operator=(const Watching&) = delete;
  ~Watching() { service_.watch(nullptr); }

 private:
  Service& service_;
};

/// Has a service tidy up every second, on a thread of its own: a store that is away takes long
/// to say so, and signals wouldn't wait for it.
class Tidying {
 public:
  explicit Tidying(Service& service)
      : thread_([this, &service](const std::stop_token& stop) {
          std::unique_lock lock(mutex_);
          while (!ended_.wait_for(lock, stop, std::chrono::seconds(1),
                                  [&stop] { return stop.stop_requested(); })) {
            service.tidy();
          }
        }) {}

 private:
  std::mutex mutex_;
  std::condition_variable_any ended_;
  std::jthread thread_;  // last: it uses the rest
};

std::unique_ptr<const References> referencesOf(const ServeOptions& options) {
  if (options.database.empty()) return std::make_unique<const NoReferences>();
  return openReferences(options.database);
}

/// "serves channels, 12 references of DB, 3 references of the store DB.store".
///
/// @param of_own  references of the database
std::string whatIsServed(const ServeOptions& options, std::size_t of_own, Store& store) {
  std::string text = "serves channels";
  if (!options.database.empty()) {
    text += fmt::format(", {} references of {}", of_own, options.database.string());
  }
  const std::string place = options.place();
  if (place == "none") return text;
  // Which others change, too, and may take long to tell.
  if (isRedis(place)) return text + ", the references of the store " + shownPlace(place);
  return text +
         fmt::format(", {} references of the store {}", store.counts().references - of_own, place);
}

/// Lets the process open as many files as the system does, and shares them out: a
/// connection takes one, and so does each that is turned away.
///
/// @param of_job  descriptors that each job takes
HttpLimits limitsFor(unsigned jobs, rlim_t of_job) {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  getrlimit(RLIMIT_NOFILE, &files);
  const rlim_t others = kOwnFiles + of_job * kHttpLanes * jobs;
  if (files.rlim_cur < others + 2) {
    throw std::runtime_error(fmt::format(
        "only {} files may be open, and {} jobs need {}; raise the limit (ulimit -n) or give "
        "fewer --jobs",
        files.rlim_cur, jobs, others + 2));
  }
  HttpLimits limits;
  limits.connections = std::min<std::size_t>(limits.connections, (files.rlim_cur - others) / 2);
  return limits;
}

/// Says where the server is and what it serves. Throws FileError.
void announce(const HttpServer& server, const std::string& served, const ServeOptions& options) {
  fmt::print("{}", options.common.json ? jsonLine({{"address", server.address()}})
                                       : fmt::format("listening on http://{}\n", server.address()));
  if (std::fflush(stdout) != 0) throw FileError("standard output", std::strerror(errno));
  note(served);
  const AccessFiles& tokens = options.access;
  if (!server.isLocal() && tokens.changing.empty() && tokens.reading.empty()) {
    warn("whoever reaches it may change references and channels; see --token-file",
         server.address());
  }
}

ExitCode runServe(const ServeOptions& options) {
  applyCommonOptions(options.common);
  std::optional<EndingSignals> signals(std::in_place);
  std::signal(SIGPIPE, SIG_IGN);
  dropUnreadMessages();
  std::unique_ptr<const References> own = referencesOf(options);
  const std::size_t of_own = own->names()->recordingCount();
  std::unique_ptr<Store> store = openStore(options.place(), std::move(own), options.thresholds);
  const std::string served = whatIsServed(options, of_own, *store);
  Service service(std::move(store), options.thresholds, options.access);
  const rlim_t of_job = kFilesOfJob + (isRedis(options.store) ? kNodes : 0);
  HttpServer server(options.address, options.jobs, limitsFor(options.jobs, of_job),
                    service.handler());
  const Watching watching(service, server);
  Serving serving(server);
  announce(server, served, options);
  const Tidying tidying(service);
  while (serving.goesOn() && !signals->wait()) continue;
  signals.reset();
  service.hurry();
  serving.end();
  return ExitCode::kSuccess;
}

}  // namespace

void addServeCommand(const Command& app, Action& action) {
  auto options = std::make_shared<ServeOptions>();
  const Command command = app.subcommand("serve", "Answer over HTTP what is playing");
  command.option("--db", options->database, "Database of references")
      .check(databaseFile())
      .valueName("DB");
  command
      .option("--store", options->store,
              "Where references and channels are kept: a folder (default: DB.store), "
              "redis://HOST:PORT of "
              "a Redis Cluster, or none")
      .check(Check{problemOfPlace})
      .valueName("STORE");
  command
      .option("--listen", options->address,
              "Numeric host, or localhost, and port, 0 for any free one (default "
              "127.0.0.1:8080)")
      .check(Check{problemOfAddress})
      .valueName("ADDRESS");
  command
      .option("--token-file", options->access.changing,
              "File with the token that changing things needs")
      .valueName("FILE");
  command
      .option("--read-token-file", options->access.reading,
              "File with the token that asking needs, and changing without --token-file")
      .valueName("FILE");
  command
      .option("--jobs", options->jobs,
              "Requests of a kind (questions, messages, changes) answered at a time "
              "(default: all cores)")
      .check(between(1u, 256u))
      .valueName("N");
  addThresholdOptions(command, options->thresholds);
  addCommonOptions(command, options->common, "Print JSON instead of text");
  command.footer(std::string(kServeHelp) + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runServe(*options); });
}

}  // namespace audiomatch
