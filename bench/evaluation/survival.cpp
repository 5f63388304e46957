// What of recordings survives on its way to those who ask, for scripts/fit-survival.

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <fstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/analysis_grid.h"
#include "base/logger.h"
#include "conditions.h"
#include "feature_file.h"
#include "match/database/database_format.h"
#include "questions.h"
#include "references.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kSeconds = bench::kAskedSeconds[std::size(bench::kAskedSeconds) - 1];
constexpr double kTolerance = 4.0;  // frames, the engine's

/// A feature of a recording, and in which conditions a question has it, by bit.
struct Line {
  std::uint32_t recording;
  std::uint32_t excerpt;
  audiomatch::RatedFeature rated;
  std::uint32_t survives;
};

/// Frames of the recording that pass in a frame of a question.
double speedIn(std::string_view condition) {
  for (const std::string_view kind : {"speed", "tempo"}) {
    if (!condition.starts_with(kind)) continue;
    return 1.0 + std::stoi(std::string(condition.substr(kind.size()))) / 100.0;
  }
  return 1.0;
}

/// The times in a question of each key, in frames of the recording.
std::unordered_multimap<std::uint32_t, double> timesOf(const bench::Question& question) {
  const double speed = speedIn(bench::allConditions()[question.condition].name);
  // What comes before the question was played as fast.
  const double start = question.start / 1e6 + 0.5 * (speed - 1.0);
  std::unordered_multimap<std::uint32_t, double> times;
  for (const audio::AudioFeature& each : question.features) {
    times.emplace(each.hashKey, start / audio::kHopSeconds + each.startTime * speed);
  }
  return times;
}

class Survival {
 public:
  Survival(fs::path folder, std::string questions)
      : folder_(std::move(folder)), questions_(std::move(questions)), keys_(audio::kTableSize) {}

  void add(const bench::Listed& recording) {
    const bench::Reference reference{recording.name, &recording, false, 1.0,
                                     folder_ / "references" / recording.name};
    // Questions that are kept depend on nothing else.
    const auto questions =
        bench::questionsAbout(recording, 0, 0, {}, folder_ / questions_ / recording.name);
    if (recording.kind == "known") addLines(bench::featuresOfReference(reference), questions);
    ++recordings_;
  }

  /// Counts keys in all references, those at other speeds too, so that no key is common only
  /// because the music is tuned to it.
  void countKeys() {
    for (const fs::directory_entry& each :
         fs::recursive_directory_iterator(folder_ / "references")) {
      if (!each.is_regular_file()) continue;
      const auto blocks = bench::readBlocks<audiomatch::RatedFeature>(each.path());
      for (const auto& block : blocks.value()) {
        for (const auto& rated : block.features) ++keys_[rated.feature.hashKey];
      }
    }
  }

  void write() const {
    const auto write = [&](const char* name, const auto& list) {
      std::ofstream out(folder_ / name, std::ios::binary);
      out.write(reinterpret_cast<const char*>(list.data()),
                static_cast<std::streamsize>(list.size() * sizeof list[0]));
      out.close();
      if (!out) throw std::runtime_error(fmt::format("{} can't be written", name));
    };
    write("survival.bin", lines_);
    write("keys.bin", keys_);
  }

 private:
  void addLines(const bench::ReferenceFeatures& features,
                const std::vector<bench::Question>& questions) {
    std::vector<std::uint32_t> excerpts;
    excerpts.reserve(questions.size());
    for (const bench::Question& each : questions) excerpts.push_back(each.excerpt);
    excerpts.erase(std::unique(excerpts.begin(), excerpts.end()), excerpts.end());
    for (const std::uint32_t excerpt : excerpts) addExcerpt(features, questions, excerpt);
  }

  void addExcerpt(const bench::ReferenceFeatures& features,
                  const std::vector<bench::Question>& questions, std::uint32_t excerpt) {
    const std::size_t first = lines_.size();
    for (const bench::Question& question : questions) {
      if (question.excerpt != excerpt || question.seconds != kSeconds) continue;
      if (question.condition == 0) takeFeatures(features, question);
      const auto times = timesOf(question);
      for (std::size_t i = first; i < lines_.size(); ++i) {
        const auto [begin, end] = times.equal_range(lines_[i].rated.feature.hashKey);
        const double own = lines_[i].rated.feature.startTime;
        const bool is_there = std::any_of(begin, end, [&](const auto& time) {
          return std::abs(time.second - own) <= kTolerance;
        });
        lines_[i].survives |= std::uint32_t{is_there} << question.condition;
      }
    }
  }

  /// The features of the stretch that is asked, but at its ends, where targets may be missing.
  void takeFeatures(const bench::ReferenceFeatures& features, const bench::Question& question) {
    const double start = question.start / 1e6 / audio::kHopSeconds;
    const double end = start + kSeconds / audio::kHopSeconds - audio::kTargetFrameReach;
    for (std::size_t part = 0; part < features.parts.size(); ++part) {
      for (audiomatch::RatedFeature each : features.parts[part]) {
        each.feature.startTime += static_cast<std::uint32_t>(part * audio::kTimeSlots);
        const double time = each.feature.startTime;
        if (time < start || time >= end) continue;
        lines_.push_back({recordings_, question.excerpt, each, 0});
      }
    }
  }

  fs::path folder_;
  std::string questions_;
  std::uint32_t recordings_ = 0;
  std::vector<Line> lines_;
  std::vector<std::uint32_t> keys_;
};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Finds which features of recordings are in the questions about them, and which keys are\n"
      "common. Writes survival.bin and keys.bin. Exit code 3 when something fails.");
  fs::path folder;
  std::string questions;
  app.add_option("FOLDER", folder, "Where an evaluation was")->required();
  app.add_option("QUESTIONS", questions, "The folder of its questions in there")->required();
  CLI11_PARSE(app, argc, argv);
  audio::gLogger.setEnabled(false);
  try {
    Survival survival(folder, questions);
    for (const bench::Listed& each : bench::readList((folder / "list").c_str())) {
      if (fs::exists(folder / questions / each.name)) survival.add(each);
    }
    survival.countKeys();
    survival.write();
    return 0;
  } catch (const std::exception& problem) {
    fmt::print(stderr, "audiomatch_survival: {}\n", problem.what());
    return 3;
  }
}
