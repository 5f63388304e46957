#include <fmt/core.h>

#include <cstdio>
#include <exception>
#include <new>

#include "tool/errors.h"
#include "tool/exit_codes.h"
#include "tool/features_command.h"
#include "tool/index_command.h"
#include "tool/interrupt.h"
#include "tool/match_command.h"
#include "tool/stream_command.h"

namespace {

using audiomatch::ExitCode;

/// Runs the command and turns what it throws into a message and a code.
ExitCode runGuarded(const audiomatch::Action& action) {
  try {
    return action();
  } catch (const audiomatch::Interrupted& interrupted) {
    audiomatch::report("interrupted; nothing was written");
    audiomatch::dieBySignal(interrupted.signal());
  } catch (const audiomatch::UsageError& error) {
    audiomatch::report(error.what());
    return ExitCode::kUsage;
  } catch (const std::bad_alloc&) {
    audiomatch::report("out of memory; try fewer --jobs or shorter recordings");
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
  CLI::App app("Recognises recordings by their audio fingerprints.", "audiomatch");
  app.set_version_flag("--version", "audiomatch " AUDIOMATCH_VERSION);
  app.footer(audiomatch::kExitCodesHelp);
  app.require_subcommand(1);
  audiomatch::Action action;
  audiomatch::addIndexCommand(app, action);
  audiomatch::addMatchCommand(app, action);
  audiomatch::addFeaturesCommand(app, action);
  audiomatch::addStreamCommand(app, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::kUsage);
  }
  const ExitCode code = runGuarded(action);
  return static_cast<int>(audiomatch::worse(code, flushOutput()));
}
