#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/verbs/commands.h"

namespace {

using audiomatch::ExitCode;

/// Fills the places of standard streams that the caller closed, so that no file
/// opened later, a database say, takes one and gets messages written into it.
/// Using such a stream still fails.
void occupyStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    // The lowest free number, hence this stream's.
    if (open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream) std::abort();
  }
}

/// Runs the command and turns what it throws into a message and a code.
ExitCode runGuarded(const audiomatch::Action& action) {
  try {
    return action();
  } catch (const audiomatch::Interrupted& interrupted) {
    audiomatch::report("interrupted; nothing was written");
    audiomatch::dieBySignal(interrupted.signal());
  } catch (const audiomatch::UsageError& error) {
    audiomatch::report(fmt::format("{}; run with --help for more information", error.what()));
    return ExitCode::kUsage;
  } catch (const std::bad_alloc&) {
    audiomatch::report("out of memory; try shorter recordings or, with index, fewer --jobs");
    return ExitCode::kFailure;
  } catch (const std::exception& error) {
    audiomatch::report(error.what());
    return ExitCode::kFailure;
  }
}

/// Output that can't be written, to a full disk say, mustn't pass for success.
ExitCode flushOutput() {
  if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return ExitCode::kSuccess;
  audiomatch::report("standard output can't be written");
  return ExitCode::kFailure;
}

}  // namespace

int main(int argc, char** argv) {
  occupyStandardStreams();
  CLI::App app("Recognises recordings by their audio fingerprints.", "audiomatch");
  app.set_version_flag("--version", "audiomatch " AUDIOMATCH_VERSION);
  app.footer(audiomatch::kExitCodesHelp);
  app.require_subcommand(1);
  app.failure_message([](const CLI::App* command, const CLI::Error& error) {
    // The parser only says that a command is missing when it doesn't know it.
    const std::string unknown = command->remaining_size() > 0 ? command->remaining().front() : "";
    if (unknown.empty()) return CLI::FailureMessage::simple(command, error);
    return fmt::format("unknown: {}; run with --help for what there is\n", unknown);
  });
  audiomatch::Action action;
  audiomatch::addIndexCommand(app, action);
  audiomatch::addMatchCommand(app, action);
  audiomatch::addFeaturesCommand(app, action);
  audiomatch::addStreamCommand(app, action);
  audiomatch::addChannelsCommand(app, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::kUsage);
  }
  const ExitCode code = runGuarded(action);
  return static_cast<int>(audiomatch::worse(code, flushOutput()));
}
