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

Candidate::Analysis keep(const Reference& reference, std::uint64_t bytes, EntryRuns& runs) {
  Candidate::Analysis analysis{
      reference.seconds, reference.features, reference.entryCount(), {}, bytes, reference.damage};
  for (const auto& entries : reference.parts) analysis.parts.push_back(runs.add(entries));
  return analysis;
}

}  // namespace

void analyseAll(std::vector<Candidate>& candidates, const BatchOptions& options, EntryRuns& runs) {
  std::atomic<bool> stop = false;
  std::mutex keeping;
  Progress progress(options.show_progress && !candidates.empty(), candidates.size());
  const auto analyse = [&](std::size_t i) {
    if (stop) return;
    Candidate& candidate = candidates[i];
    std::optional<Reference> reference;
    const std::uint64_t bytes = lengthOf(candidate.path);
    try {
      reference = analyseReference(candidate.path, options.most_entries, options.sound);
    } catch (const FileError& error) {
      candidate.problem = error.what();
      if (candidate.named && !options.keep_going) stop = true;
      return;
    }
    const std::lock_guard lock(keeping);
    candidate.analysis = keep(*reference, bytes, runs);
  };
  forEachParallel(candidates.size(), options.jobs, analyse, [&] { progress.step(); });
}

}  // namespace audiomatch
