#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "match/database/database_writer.h"
#include "tool/keeping/catalogue.h"
#include "tool/keeping/database_file.h"
#include "tool/keeping/entry_runs.h"
#include "tool/keeping/kept_recording.h"

namespace audiomatch {

/// Where a merge has entries from: a database, or the analysis of recordings.
/// Gives its buckets one by one, with the indices that its audios get.
class EntrySource {
 public:
  virtual ~EntrySource() = default;

  /// Appends the entries of the next bucket, by audio and time.
  virtual void appendNext(std::vector<std::uint64_t>& bucket) = 0;

  /// How much it has, for those who estimate how long that takes.
  virtual std::uint64_t bytes() const noexcept = 0;
};

/// The entries of a database. Those of a bucket stay in their order, which has
/// to be that of the new indices, too.
class DatabaseEntries : public EntrySource {
 public:
  /// @param index_of  by old index: the new one, or kNoIndex
  DatabaseEntries(std::unique_ptr<DatabaseFile> file, std::vector<std::uint32_t> index_of)
      : file_(std::move(file)), index_of_(std::move(index_of)) {}

  /// Throws FileError for a database with a fault.
  void appendNext(std::vector<std::uint64_t>& bucket) override;
  std::uint64_t bytes() const noexcept override { return file_->bytes(); }

 private:
  std::unique_ptr<DatabaseFile> file_;
  std::vector<std::uint32_t> index_of_;
  std::vector<std::uint64_t> entries_;
};

/// The entries of new audios, sorted by their new indices.
class NewEntries : public EntrySource {
 public:
  /// @param runs      outlives this object
  /// @param index_of  by number: the index, or kNoIndex
  NewEntries(EntryRuns& runs, std::vector<std::uint32_t> index_of)
      : bytes_(runs.entryCount() * sizeof(std::uint64_t)),
        pass_(runs),
        index_of_(std::move(index_of)) {}

  void appendNext(std::vector<std::uint64_t>& bucket) override;
  std::uint64_t bytes() const noexcept override { return bytes_; }

 private:
  std::uint64_t bytes_;
  EntryRuns::Pass pass_;
  std::vector<std::uint32_t> index_of_;
  std::vector<std::uint64_t> entries_;
};

/// Is shown each bucket of a merge, as it is written; or nothing.
using BucketWatcher =
    std::function<void(std::uint32_t key, std::span<const std::uint64_t> entries)>;

/// Writes a database of what the sources have, in one pass over each of them
/// and with no more than a bucket in memory. Within a bucket, entries go by
/// source; so the indices of a source lie above those of the source before it.
///
/// Throws what sources and sink throw, and Interrupted. Returns the number of
/// entries of each audio.
std::vector<std::uint64_t> mergeEntries(std::span<const KeptRecording> recordings,
                                        std::span<const std::unique_ptr<EntrySource>> sources,
                                        const BucketWatcher& watcher, audio::ByteSink& sink);

}  // namespace audiomatch
