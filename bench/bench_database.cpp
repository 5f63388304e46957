// A database of ten million entries: loading it against reading its file, and
// a query against visiting the buckets it names.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>

#include "benchmarks.h"
#include "match/database/audio_database.h"
#include "match/database/look_up_table.h"
#include "match/scoring/match_ranking.h"
#include "paired_run.h"
#include "synthetic_database.h"

namespace {

const bench::SyntheticDatabase& tenMillionEntries() {
  static const bench::SyntheticDatabase database(500, 20000);
  return database;
}

/// Reads the file once, in pieces of 1 MiB, into fresh memory of its size.
void readWhole(const std::string& path, std::uint64_t bytes) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  const std::unique_ptr<unsigned char, decltype(&std::free)> memory(
      static_cast<unsigned char*>(std::malloc(bytes)), &std::free);
  std::FILE* file = std::fopen(path.c_str(), "rb");
  std::size_t size = 0;
  while (const std::size_t got =
             std::fread(memory.get() + size, 1, std::min(kPiece, bytes - size), file)) {
    size += got;
  }
  std::fclose(file);
  if (size != bytes) std::abort();
  benchmark::DoNotOptimize(memory.get());
}

/// Reads the file once through one reused buffer of 1 MiB.
void readThrough(const std::string& path) {
  static std::vector<unsigned char> buffer(std::size_t{1} << 20);
  std::FILE* file = std::fopen(path.c_str(), "rb");
  while (std::fread(buffer.data(), 1, buffer.size(), file) > 0)
    benchmark::DoNotOptimize(buffer.data());
  std::fclose(file);
}

void load(const std::string& path) {
  audio::AudioDatabase database;
  if (!database.load(path.c_str())) std::abort();
  benchmark::DoNotOptimize(&database);
}

/// Resident memory that a loaded database takes.
std::int64_t residentByLoading(const std::string& path) {
  const auto resident = [] {
    long total = 0;
    long pages = 0;
    std::FILE* status = std::fopen("/proc/self/statm", "r");
    if (!status || std::fscanf(status, "%ld %ld", &total, &pages) != 2) std::abort();
    std::fclose(status);
    return std::int64_t{pages} * sysconf(_SC_PAGESIZE);
  };
  const std::int64_t before = resident();
  audio::AudioDatabase database;
  if (!database.load(path.c_str())) std::abort();
  return resident() - before;
}

constexpr double kNoLimit = std::numeric_limits<double>::infinity();

void loadAgainstKeeping(benchmark::State& state) {
  const auto& file = tenMillionEntries();
  bench::pairedRun(
      state, 1.5, [&] { load(file.path()); }, [&] { readWhole(file.path(), file.bytes()); });
  state.counters["file_MB"] = 1e-6 * static_cast<double>(file.bytes());
  state.counters["memory_MB"] = 1e-6 * static_cast<double>(residentByLoading(file.path()));
}

void loadAgainstPassing(benchmark::State& state) {
  const auto& file = tenMillionEntries();
  bench::pairedRun(
      state, kNoLimit, [&] { load(file.path()); }, [&] { readThrough(file.path()); });
}

using Query = std::vector<audio::AudioFeature>;

/// Look-up and scoring against visiting the same kind of buckets. With several
/// queries the two sides take different ones, as a server sees them; with one
/// query everything stays in the cache.
void queries(benchmark::State& state) {
  const auto& file = tenMillionEntries();
  audio::AudioDatabase database;
  if (!database.load(file.path().c_str())) std::abort();
  std::vector<Query> all;
  for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(state.range(0)); ++i) {
    all.push_back(bench::syntheticFeatures(1000 + i, 10, false));
  }
  std::size_t matched = 0;
  std::size_t visited = all.size() / 2;
  std::vector<audio::AudioHashHit> hits;
  audio::RandomDraws draws;
  const auto match = [&] {
    if (!database.extractHits(all[matched++ % all.size()], hits)) std::abort();
    benchmark::DoNotOptimize(audio::rankMatches(hits, draws));
  };
  const auto visit = [&] {
    std::uint64_t sum = 0;
    for (const auto& feature : all[visited++ % all.size()]) {
      const audio::Bucket bucket = database.bucket(feature.hashKey);
      for (std::size_t i = 0; i < bucket.count; ++i) sum += bucket[i];
    }
    benchmark::DoNotOptimize(sum);
  };
  bench::pairedRun(state, 3.0, match, visit);
  state.counters["features"] = static_cast<double>(all.back().size());
  state.counters["hits"] = static_cast<double>(hits.size());
}

}  // namespace

void bench::addDatabase() {
  addPaired("loadAgainstKeeping", loadAgainstKeeping, 15);
  addPaired("loadAgainstPassing", loadAgainstPassing, 15);
  addPaired("queries", queries, 320)->ArgName("queries")->Arg(32)->Arg(1);
}
