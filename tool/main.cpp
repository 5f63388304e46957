#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <span>
#include <string>
#include <string_view>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/output/messages.h"
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

/// Text for the user of what is wrong with the command line.
std::string usageMessage(const CLI::App& app, const CLI::ParseError& error) {
  // The parser only says that a command is missing when it doesn't know it.
  if (app.remaining_size() > 0) {
    return fmt::format("unknown: {}; run with --help for what there is", app.remaining().front());
  }
  return fmt::format("{}; run with --help for more information", error.what());
}

/// Parses the command line, and runs the command unless help is all that is asked for.
ExitCode run(int argc, char** argv) {
  CLI::App app;
  audiomatch::Action action;
  audiomatch::buildCommandLine(app, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      app.exit(error);
      return ExitCode::kSuccess;
    }
    audiomatch::report(usageMessage(app, error));
    return ExitCode::kUsage;
  }
  return action();
}

/// Turns what is thrown into a message and a code.
ExitCode runGuarded(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const audiomatch::Interrupted& interrupted) {
    audiomatch::report("interrupted; nothing was written");
    audiomatch::dieBySignal(interrupted.signal());
  } catch (const audiomatch::UsageError& error) {
    audiomatch::report(fmt::format("{}; run with --help for more information", error.what()));
    return ExitCode::kUsage;
  } catch (const audiomatch::FileError& error) {
    audiomatch::report(error);
  } catch (const std::bad_alloc&) {
    audiomatch::report("out of memory; try shorter recordings or, with index, fewer --jobs");
  } catch (const std::exception& error) {
    audiomatch::report(error.what());
  }
  return ExitCode::kFailure;
}

/// Output that can't be written, to a full disk say, mustn't pass for success.
ExitCode flushOutput() {
  std::cout.flush();
  if (std::fflush(stdout) == 0 && !std::ferror(stdout) && std::cout) return ExitCode::kSuccess;
  audiomatch::report("standard output can't be written");
  return ExitCode::kFailure;
}

/// True when messages are to be JSON, asked before the parser can have any.
bool wantsJson(std::span<char*> arguments) {
  return std::ranges::any_of(arguments,
                             [](const char* text) { return std::string_view(text) == "--json"; });
}

}  // namespace

int main(int argc, char** argv) {
  occupyStandardStreams();
  audiomatch::setJsonMessages(wantsJson({argv, static_cast<std::size_t>(argc)}));
  const ExitCode code = runGuarded(argc, argv);
  return static_cast<int>(audiomatch::worse(code, flushOutput()));
}
