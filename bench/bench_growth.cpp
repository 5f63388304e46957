// Twice as much of something against once: what grows faster than its input shows above 2.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>

#include "benchmarks.h"
#include "feature/feature_extractor.h"
#include "match/database/audio_database.h"
#include "match/scoring/match_ranking.h"
#include "paired_run.h"
#include "synthetic_audio.h"
#include "synthetic_database.h"

namespace {

constexpr double kLimit = 2.1;

/// Times, on the processor, `once(size)` made for the double size against that for the size.
template <typename Make>
void doubling(benchmark::State& state, Make make) {
  const auto size = static_cast<std::uint32_t>(state.range(0));
  bench::pairedRun<bench::ThreadClock>(state, kLimit, make(2 * size), make(size));
}

void growthAudio(benchmark::State& state) {
  audio::FeatureExtractor extractor;
  extractor.init(false);
  doubling(state, [&](std::uint32_t seconds) {
    return [&extractor,
            audio = std::shared_ptr<audio::AudioData>(bench::syntheticMusic(1, seconds, 1, 8000))] {
      if (!extractor.loadAudio(audio.get()) || !extractor.extractFeatures()) std::abort();
    };
  });
}

/// Random hits, of which each audio has about as many.
std::vector<audio::AudioHashHit> randomHits(std::uint32_t count, std::uint32_t audios) {
  std::mt19937 random(count);
  std::vector<audio::AudioHashHit> hits(count);
  for (audio::AudioHashHit& hit : hits) {
    hit.audio_index = static_cast<std::int32_t>(random() % audios);
    hit.time_offset = static_cast<std::int32_t>(random() % 16384);
  }
  return hits;
}

auto ranking(std::uint32_t hits, std::uint32_t audios) {
  return [list = randomHits(hits, audios)] {
    audio::RandomDraws draws;
    benchmark::DoNotOptimize(audio::rankMatches(list, draws));
  };
}

void growthHits(benchmark::State& state) {
  doubling(state, [](std::uint32_t hits) { return ranking(hits, 1000); });
}

void growthCandidates(benchmark::State& state) {
  doubling(state, [](std::uint32_t audios) { return ranking(100 * audios, audios); });
}

void growthReferences(benchmark::State& state) {
  const std::vector<audio::AudioFeature> query = bench::syntheticFeatures(1000, 10, false);
  doubling(state, [&](std::uint32_t references) {
    const bench::SyntheticDatabase file(references, 5000);
    const auto database = std::make_shared<audio::AudioDatabase>();
    if (!database->load(file.path().c_str())) std::abort();
    return [&query, database] {
      std::vector<audio::AudioHashHit> hits;
      audio::RandomDraws draws;
      if (!database->extractHits(query, hits)) std::abort();
      benchmark::DoNotOptimize(audio::rankMatches(hits, draws));
    };
  });
}

}  // namespace

void bench::addGrowth() {
  addPaired("growthAudio", growthAudio, 9)->ArgName("seconds")->RangeMultiplier(2)->Range(16, 128);
  addPaired("growthHits", growthHits, 31)
      ->ArgName("hits")
      ->RangeMultiplier(2)
      ->Range(1 << 16, 1 << 19);
  addPaired("growthCandidates", growthCandidates, 31)
      ->ArgName("candidates")
      ->RangeMultiplier(2)
      ->Range(1 << 10, 1 << 14);
  addPaired("growthReferences", growthReferences, 101)
      ->ArgName("references")
      ->RangeMultiplier(2)
      ->Range(128, 1024);
}
