// What it costs to recognise a stranger where other audios are looked at than those with the most
// hits: a look-up with the tool's verdict against a look-up with the engine's.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <limits>
#include <vector>

#include "base/logger.h"
#include "match/audio_matcher.h"
#include "paired_run.h"
#include "synthetic_database.h"
#include "tool/recognition/recogniser.h"
#include "tool/recognition/reference_database.h"

namespace {

constexpr std::uint32_t kEntries = 12'000;  // of an audio, about as many as index keeps
constexpr std::uint32_t kQuestions = 32;

void strangers(benchmark::State& state) {
  const bench::SyntheticDatabase file(static_cast<std::uint32_t>(state.range(0)), kEntries);
  const audiomatch::ReferenceDatabase references(file.path());
  std::vector<std::vector<audio::AudioFeature>> questions;
  for (std::uint32_t i = 0; i < kQuestions; ++i) {
    questions.push_back(bench::syntheticFeatures(1000 + i, 10, false));
  }
  std::size_t judged = 0;
  std::size_t ranked = 0;
  std::size_t hits = 0;
  const auto judge = [&] {
    const auto& features = questions[judged++ % kQuestions];
    const audiomatch::FoundHits found = references.find(features);
    hits = found.hits.size();
    if (judgeHits(features, found, audiomatch::kThresholds).verdict.recognised) std::abort();
  };
  const auto rank = [&] {
    const auto& features = questions[ranked++ % kQuestions];
    const audiomatch::FoundHits found = references.find(features);
    audio::AudioMatcher matcher;
    matcher.forgetHistory();
    if (!matcher.matchHits(features, found.hits)) std::abort();
  };
  bench::pairedRun(state, std::numeric_limits<double>::infinity(), judge, rank);
  state.counters["hits"] = static_cast<double>(hits);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  audio::gLogger.setEnabled(false);
  bench::addPaired("strangers", strangers, 96)->ArgName("audios")->Arg(100)->Arg(1000)->Arg(10'000);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
