#include "tool/keeping/reference_batch.h"

#include <atomic>
#include <mutex>

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

Arrival::Analysis keep(const Reference& reference, std::uint64_t bytes, EntryRuns& runs) {
  Arrival::Analysis analysis{
      reference.seconds, reference.features, reference.entryCount(), {}, bytes, reference.damage};
  for (const auto& entries : reference.parts) analysis.parts.push_back(runs.add(entries));
  return analysis;
}

}  // namespace

void analyseAll(std::vector<Arrival>& arrivals, const BatchOptions& options, EntryRuns& runs) {
  std::atomic<bool> stop = false;
  std::mutex keeping;
  Progress progress(options.show_progress && !arrivals.empty(), arrivals.size());
  const auto analyse = [&](std::size_t i) {
    if (stop) return;
    Arrival& arrival = arrivals[i];
    std::optional<Reference> reference;
    const std::uint64_t bytes = lengthOf(arrival.path);
    try {
      reference = analyseReference(arrival.path, options.room, options.sound);
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
