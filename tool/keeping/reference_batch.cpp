#include "tool/keeping/reference_batch.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <numeric>

#include "tool/base/errors.h"
#include "tool/base/parallel.h"
#include "tool/keeping/reference_analysis.h"
#include "tool/output/progress.h"

namespace audiomatch {
namespace {

/// The file's length, 0 where it has none.
std::uint64_t lengthOf(const std::filesystem::path& path) noexcept {
  std::error_code error;
  const std::uintmax_t length = std::filesystem::file_size(path, error);
  return error ? 0 : length;
}

/// So that no thread is left with a long one at the end.
std::vector<std::size_t> longestFirst(const std::vector<Arrival>& arrivals) {
  std::vector<std::uint64_t> lengths(arrivals.size());
  std::ranges::transform(arrivals, lengths.begin(), lengthOf, &Arrival::path);
  std::vector<std::size_t> order(arrivals.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::stable_sort(order, std::greater(), [&](std::size_t i) { return lengths[i]; });
  return order;
}

Arrival::Analysis keep(const Reference& reference, std::uint64_t bytes, EntryRuns& runs) {
  Arrival::Analysis analysis{
      reference.seconds, reference.features, reference.entryCount(), {}, bytes, reference.damage};
  for (const auto& entries : reference.parts) analysis.parts.push_back(runs.add(entries));
  return analysis;
}

}  // namespace

void analyseAll(std::vector<Arrival>& arrivals, const BatchOptions& options, EntryRuns& runs) {
  const std::vector<std::size_t> order = longestFirst(arrivals);
  const bool are_fewer = arrivals.size() < options.jobs;
  const std::launch reading = are_fewer ? std::launch::async : std::launch::deferred;
  std::atomic<bool> stop = false;
  std::mutex keeping;
  Progress progress(options.show_progress && !arrivals.empty(), arrivals.size());
  std::vector<ReferenceAnalyser> analysers(std::max(options.jobs, 1u));
  const auto analyse = [&](std::size_t i, unsigned thread) {
    if (stop) return;
    Arrival& arrival = arrivals[order[i]];
    std::optional<Reference> reference;
    const std::uint64_t bytes = lengthOf(arrival.path);
    try {
      reference = analysers[thread].analyse(arrival.path, options.room, options.sound, reading);
    } catch (const FileError& error) {
      arrival.problem = error.problem();
      if (arrival.named && !options.keep_going) stop = true;
      return;
    }
    const std::lock_guard lock(keeping);
    arrival.analysis = keep(*reference, bytes, runs);
  };
  forEachParallel(arrivals.size(), options.jobs, analyse, [&] { progress.step(); });
}

}  // namespace audiomatch
