#include <benchmark/benchmark.h>

#include "base/logger.h"
#include "paired_run.h"

int main(int argc, char** argv) {
  audio::gLogger.setEnabled(false);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return bench::limitExceeded() ? 1 : 0;
}
