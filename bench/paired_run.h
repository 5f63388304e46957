#pragma once

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <vector>

namespace bench {

/// How the benchmarks run, and what came of it.
struct Session {
  bool brief = false;           ///< once each, and no limit is enforced
  bool limit_exceeded = false;  ///< some ratio went above its limit
};
inline Session& session() {
  static Session only;
  return only;
}

/// Registers a benchmark that times pairs, `pairs` of them.
template <typename Benchmark>
benchmark::internal::Benchmark* addPaired(const char* name, Benchmark run, int pairs) {
  return benchmark::RegisterBenchmark(name, run)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond)
      ->Iterations(session().brief ? 1 : pairs);
}

/// The processor time of the calling thread: what others do meanwhile isn't in it.
struct ThreadClock {
  static std::chrono::nanoseconds now() noexcept {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
  }
};

/// Times `work` and `baseline` in turn, so that a machine whose speed drifts
/// slows both, and reports the median of the ratios pair by pair next to the
/// median times. The limit that is printed is the one that is enforced: a ratio
/// above it is an error of the benchmark, except in a brief session.
template <typename Clock = std::chrono::steady_clock, typename Work, typename Baseline>
void pairedRun(benchmark::State& state, double limit, Work work, Baseline baseline) {
  const auto seconds = [](auto& job) {
    const auto begin = Clock::now();
    job();
    return std::chrono::duration<double>(Clock::now() - begin).count();
  };
  const auto median = [](std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
  };
  work();
  baseline();
  std::vector<double> ratios;
  std::vector<double> works;
  std::vector<double> baselines;
  for (auto _ : state) {
    works.push_back(seconds(work));
    baselines.push_back(seconds(baseline));
    ratios.push_back(works.back() / baselines.back());
    state.SetIterationTime(works.back());
  }
  const double ratio = median(ratios);
  state.counters["ratio"] = ratio;
  if (std::isfinite(limit)) state.counters["limit"] = limit;
  state.counters["work_ms"] = 1e3 * median(works);
  state.counters["base_ms"] = 1e3 * median(baselines);
  if (ratio > limit && !session().brief) {
    session().limit_exceeded = true;
    // An error takes the place of the counters.
    const std::string problem =
        "the ratio, " + std::to_string(ratio) + ", is above its limit, " + std::to_string(limit);
    state.SkipWithError(problem.c_str());
  }
}

}  // namespace bench
