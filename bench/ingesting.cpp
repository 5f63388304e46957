// What keeping so many audios takes, apart from analysing them: their entries are drawn, put aside
// and merged into a database, as `index` does it. Prints an object of JSON.

#include <fmt/core.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <exception>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "feature/land_mark.h"
#include "match/database/database_format.h"
#include "tool/keeping/atomic_file.h"
#include "tool/keeping/database_merge.h"
#include "tool/keeping/duplicate_finder.h"
#include "tool/keeping/entry_runs.h"

namespace {

namespace fs = std::filesystem;

struct Options {
  fs::path folder;
  std::uint32_t audios = 10'000;
  std::size_t entries = 1000;
  std::uint64_t memory = 384;  // MiB
};

double processorSeconds(const rusage& usage) {
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void drawAudios(const Options& options, audiomatch::EntryRuns& runs) {
  std::mt19937_64 random(1);
  std::vector<audio::AudioFeature> features(options.entries);
  for (std::uint32_t i = 0; i < options.audios; ++i) {
    for (audio::AudioFeature& feature : features) {
      const std::uint64_t drawn = random();
      feature = {static_cast<std::uint32_t>(drawn >> 32) % audio::kTimeSlots,
                 static_cast<std::uint32_t>(drawn) % audio::kHashKeys};
    }
    runs.add(features);
  }
}

std::uint64_t writeDatabase(const Options& options, audiomatch::EntryRuns& runs) {
  std::vector<audiomatch::KeptRecording> recordings(options.audios);
  for (std::uint32_t i = 0; i < options.audios; ++i) recordings[i].name = fmt::format("audio{}", i);
  std::vector<std::uint32_t> indices(options.audios);
  std::iota(indices.begin(), indices.end(), 0u);
  std::vector<std::unique_ptr<audiomatch::EntrySource>> sources;
  sources.push_back(std::make_unique<audiomatch::NewEntries>(runs, std::move(indices)));
  audiomatch::DuplicateFinder finder(
      recordings, 0, runs.entryCount(),
      (options.memory << 20) / 3 * 2 / audiomatch::DuplicateFinder::kPairBytes);
  audiomatch::AtomicFile file(options.folder / "simulated.db");
  const audiomatch::BucketWatcher watch =
      [&](std::uint32_t key, std::span<const std::uint64_t> entries) { finder.see(key, entries); };
  audiomatch::mergeEntries(recordings, sources, watch, file);
  finder.find();
  file.complete();
  return file.size();
}

void simulate(const Options& options) {
  const auto begin = std::chrono::steady_clock::now();
  audiomatch::EntryRuns runs(options.folder / "simulated.db",
                             (options.memory << 20) / 3 / sizeof(std::uint64_t));
  drawAudios(options, runs);
  const std::uint64_t bytes = writeDatabase(options, runs);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  fmt::print(
      "{{\"audios\": {}, \"entries\": {}, \"memory_mib\": {}, \"seconds\": {:.2f}, "
      "\"processor_seconds\": {:.2f}, \"peak_mib\": {:.0f}, \"database_mib\": {:.0f}}}\n",
      options.audios, runs.entryCount(), options.memory, took.count(), processorSeconds(usage),
      static_cast<double>(usage.ru_maxrss) / 1024, static_cast<double>(bytes) / 0x1p20);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Keeps simulated audios as index does, and says what that took.");
  Options options;
  app.add_option("FOLDER", options.folder, "Where they are put aside; nothing stays")->required();
  app.add_option("--audios", options.audios, "How many")->capture_default_str();
  app.add_option("--entries", options.entries, "Of each")->capture_default_str();
  app.add_option("--memory", options.memory, "As index has it, in MiB")->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  try {
    simulate(options);
    return 0;
  } catch (const std::exception& problem) {
    fmt::print(stderr, "audiomatch_ingesting: {}\n", problem.what());
    return 3;
  }
}
