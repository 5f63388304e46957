// Writes the tool's manual pages and its completions for shells, from the command
// line that the tool parses: write_manual FOLDER VERSION DATE

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>

#include "tool/keeping/atomic_file.h"
#include "tool/manual/completion.h"
#include "tool/manual/manual_page.h"
#include "tool/output/messages.h"
#include "tool/verbs/commands.h"

namespace {

namespace fs = std::filesystem;

void writeFile(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  audiomatch::AtomicFile file(path);
  file.write(text.data(), text.size());
  file.commit();
}

void writeManual(const fs::path& folder, const audiomatch::Edition& edition) {
  CLI::App app;
  audiomatch::Action action;
  audiomatch::buildCommandLine(app, action);
  const auto commands = audiomatch::describeCommands(app);
  for (std::size_t i = 0; i < commands.size(); ++i) {
    writeFile(folder / "man1" / (audiomatch::pageName(commands, i) + ".1"),
              audiomatch::manualPage(commands, i, edition));
  }
  writeFile(folder / "bash" / commands.front().name, audiomatch::bashCompletion(commands));
  writeFile(folder / "zsh" / ("_" + commands.front().name), audiomatch::zshCompletion(commands));
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 4) throw audiomatch::UsageError("write_manual FOLDER VERSION DATE");
    writeManual(argv[1], {argv[2], argv[3]});
    return 0;
  } catch (const std::exception& error) {
    audiomatch::report(error.what());
    return 1;
  }
}
