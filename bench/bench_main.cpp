#include <benchmark/benchmark.h>

#include <algorithm>
#include <string_view>

#include "base/logger.h"
#include "benchmarks.h"
#include "paired_run.h"

int main(int argc, char** argv) {
  char** const end = std::remove_if(
      argv + 1, argv + argc, [](const char* word) { return std::string_view(word) == "--brief"; });
  bench::session().brief = end != argv + argc;
  argc = static_cast<int>(end - argv);
  audio::gLogger.setEnabled(false);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  bench::addExtraction();
  bench::addDatabase();
#ifdef AUDIOMATCH_JAR
  bench::addAttributeServer();
#endif
  bench::addGrowth();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return bench::session().limit_exceeded ? 1 : 0;
}
