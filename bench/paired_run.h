#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

/// Times `work` and `baseline` in turn, so that a machine whose speed drifts
/// slows both, and reports the median of the ratios pair by pair next to the
/// median times.
template <typename Work, typename Baseline>
void pairedRun(benchmark::State& state, Work work, Baseline baseline) {
  const auto seconds = [](auto& job) {
    const auto begin = std::chrono::steady_clock::now();
    job();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
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
  state.counters["ratio"] = median(ratios);
  state.counters["work_ms"] = 1e3 * median(works);
  state.counters["base_ms"] = 1e3 * median(baselines);
}

}  // namespace bench
