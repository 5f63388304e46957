// How often recordings are found, and strangers named, by collections that builders make: asks and
// writes every answer, for scripts/evaluate.

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "asking.h"
#include "base/analysis_grid.h"
#include "base/logger.h"
#include "collection.h"
#include "conditions.h"
#include "questions.h"
#include "tool/base/parallel.h"
#include "tool/input/sound_source.h"
#include "tool/keeping/atomic_file.h"
#include "tool/keeping/reference_analysis.h"
#include "tool/output/progress.h"

namespace {

namespace fs = std::filesystem;
using bench::Listed;

struct Options {
  std::string list;
  fs::path folder;
  std::vector<std::string> builders{"chosen-" + std::to_string(audiomatch::kUsualRoom)};
  std::vector<std::size_t> sizes{1000};
  std::size_t simulated = 0;
  std::uint32_t excerpts = 2;
  std::uint64_t seed = 1;
  bool exact = false;
};

constexpr double kShortest = 30.0;  // seconds; effects and jingles are shorter

bool isLong(const Listed& recording) {
  const auto sound = audiomatch::openSound(recording.path);
  return static_cast<double>(sound->promisedFrames()) >= kShortest * sound->sampleRate();
}

/// All that speak, one after another at 8 kHz.
bench::Sound babbleOf(const std::vector<Listed>& recordings) {
  bench::Sound all{{}, audio::kAnalysisRate};
  for (const Listed& each : recordings) {
    if (each.kind != "babble") continue;
    const bench::Sound voice = bench::toRate(bench::readMono(each.path), audio::kAnalysisRate);
    all.samples.insert(all.samples.end(), voice.samples.begin(), voice.samples.end());
  }
  return all;
}

class Evaluation {
 public:
  explicit Evaluation(const Options& options)
      : options_(options), recordings_(bench::readList(options.list.c_str())) {
    std::erase_if(recordings_, [](const Listed& each) { return !isLong(each); });
    for (const Listed& each : recordings_) {
      if (each.kind == "known") known_.push_back(&each);
      if (each.kind != "babble") asked_.push_back(&each);
    }
  }

  void run() {
    prepareQuestions();
    for (const std::string& builder : options_.builders) {
      for (const std::size_t size : options_.sizes) ask(builder, size);
    }
  }

 private:
  /// Keeps the questions, so that an interrupted evaluation goes on where it was.
  void prepareQuestions() {
    const bench::Sound babble = babbleOf(recordings_);
    forEachAsked([&](const Listed& recording) { questionsOf(recording, babble); });
  }

  std::vector<bench::Question> questionsOf(const Listed& recording, const bench::Sound& babble) {
    const fs::path kept = options_.folder /
                          fmt::format("questions-{}-{}", options_.seed, options_.excerpts) /
                          recording.name;
    return bench::questionsAbout(recording, options_.excerpts, options_.seed, babble, kept);
  }

  template <typename Work>
  void forEachAsked(Work work) {
    audiomatch::Progress progress(true, asked_.size());
    audiomatch::forEachParallel(
        asked_.size(), jobs_, [&](std::size_t i) { work(*asked_[i]); }, [&] { progress.step(); });
  }

  /// Where what depends on the references' resampling is kept.
  fs::path folderFor(const std::string& what) const {
    return options_.folder / (options_.exact ? what + "-exact" : what);
  }

  /// Where answers are kept: of a collection, or of a larger one that chance makes of it.
  fs::path answersOf(const std::string& builder, std::size_t size, std::size_t simulated) const {
    const std::string grown = simulated > 0 ? fmt::format("-to-{}", simulated) : "";
    return folderFor(fmt::format("answers-{}-{}", options_.seed, options_.excerpts)) /
           fmt::format("{}-{}{}.csv", builder, size, grown);
  }

  /// Asks a collection, and of the largest the one that chance makes of it, unless they were asked.
  void ask(const std::string& builder, std::size_t size) {
    std::vector<std::size_t> wanted{0};
    if (size == options_.sizes.back() && options_.simulated > size) {
      wanted.push_back(options_.simulated);
    }
    std::erase_if(wanted, [&](std::size_t simulated) {
      return fs::exists(answersOf(builder, size, simulated));
    });
    if (wanted.empty()) return;
    fmt::print(stderr, "{} recordings, {}\n", size, builder);
    const bench::Collection collection =
        bench::collect(bench::collectionOf(known_, size, folderFor("references"), options_.exact),
                       builder, options_.folder / "database", jobs_);
    for (const std::size_t simulated : wanted) write(collection, size, simulated);
  }

  void write(const bench::Collection& collection, std::size_t size, std::size_t simulated) {
    const std::size_t further = simulated > 0 ? simulated / size - 1 : 0;
    std::map<std::string, std::string> lines;
    std::mutex mutex;
    forEachAsked([&](const Listed& recording) {
      std::string own = bench::answers(collection, recording, questionsOf(recording, {}), further);
      const std::lock_guard lock(mutex);
      lines[recording.name] = std::move(own);
    });
    const double megabytes = static_cast<double>(collection.bytes) / 1e6;
    std::string text =
        fmt::format("# {:.4f}\n{}", megabytes / collection.hours, bench::kAnswerColumns);
    for (const auto& [name, own] : lines) text += own;
    const fs::path file = answersOf(collection.builder, size, simulated);
    fs::create_directories(file.parent_path());
    audiomatch::AtomicFile out(file);
    out.write(text.data(), text.size());
    out.complete();
    out.commit();
  }

  Options options_;
  std::vector<Listed> recordings_;
  std::vector<const Listed*> known_;
  std::vector<const Listed*> asked_;
  unsigned jobs_ = std::max(1u, std::thread::hardware_concurrency());
};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Asks collections about recordings in many conditions, and keeps every answer.\n"
      "What is in the folder already isn't done again. Exit code 3 when something fails.");
  Options options;
  app.add_option("LIST", options.list,
                 "Lines of: kind TAB name TAB file, kind being known, unknown, speech or babble")
      ->required();
  app.add_option("FOLDER", options.folder, "Where questions, features and answers are kept")
      ->required();
  app.add_option("--builder", options.builders, "all, chosen-N, or random-N")
      ->capture_default_str();
  app.add_option("--audios", options.sizes, "Sizes of collections, ascending")
      ->capture_default_str();
  app.add_option("--simulated", options.simulated, "Size of one that chance hits make");
  app.add_option("--excerpts", options.excerpts, "Of each recording")->capture_default_str();
  app.add_option("--seed", options.seed, "Of places and noises")->capture_default_str();
  app.add_flag("--exact", options.exact, "Leave it to the engine to resample references");
  CLI11_PARSE(app, argc, argv);
  audio::gLogger.setEnabled(false);
  try {
    Evaluation(options).run();
    return 0;
  } catch (const std::exception& problem) {
    fmt::print(stderr, "audiomatch_evaluate: {}\n", problem.what());
    return 3;
  }
}
