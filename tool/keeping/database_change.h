#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

#include "tool/keeping/atomic_file.h"
#include "tool/keeping/background.h"
#include "tool/keeping/database_file.h"
#include "tool/keeping/database_lock.h"
#include "tool/keeping/database_merge.h"
#include "tool/keeping/kept_recording.h"

namespace audiomatch {

/// The change of a database, or its making: others are kept away meanwhile, and
/// the new one appears whole or not at all, then its catalogue.
///
/// Whenever the process is killed, database and catalogue don't contradict each
/// other: before the new database appears, the catalogue is reduced to what is
/// true of the old one and the new one.
class DatabaseChange {
 public:
  /// Begins a change, of which a bar shows how far it is, if wanted and if it
  /// takes long. Throws FileError as DatabaseLock does, and when there is
  /// something that isn't a regular file.
  DatabaseChange(const std::filesystem::path& database, bool show_progress);

  /// Where the database stands, links followed.
  const std::filesystem::path& place() const noexcept { return place_; }

  /// True when there is a file that isn't empty.
  bool exists() const;

  /// The database gets such a background when it is written; else it gets none.
  void complete(BackgroundWish wish) {
    completes_ = true;
    wish_ = wish;
  }

  /// The same, of as many as are usual, where a database whose recordings it takes over has a
  /// background. That isn't taken over itself; the user is told where it may be something else,
  /// as it stands before recordings.
  ///
  /// @param path  what messages call that database
  void completeAs(const Catalogue& old, const std::filesystem::path& path);

  /// Writes the new database, which doesn't appear yet. Once more, it starts
  /// again. Throws as mergeEntries does.
  void write(std::vector<KeptRecording> recordings,
             std::span<const std::unique_ptr<EntrySource>> sources,
             const BucketWatcher& watcher = {});

  /// What was written, entries counted, without the background.
  const std::vector<KeptRecording>& recordings() const noexcept { return recordings_; }
  std::size_t audioCount() const noexcept;
  std::uint64_t entryCount() const noexcept;
  /// Audios of its background.
  std::size_t background() const noexcept { return background_; }
  std::uint64_t bytes() const noexcept { return file_->size(); }

  /// Makes what was written appear. Throws FileError; the old database then
  /// stands, or the message says that only the catalogue is missing.
  ///
  /// @param unchanged  those of `recordings` that the old database has, too
  void commit(const std::vector<KeptRecording>& unchanged);

 private:
  void addBackground(std::uint64_t frames);

  std::filesystem::path place_;
  DatabaseLock lock_;
  bool show_progress_;
  bool completes_ = false;
  BackgroundWish wish_;
  std::size_t background_ = 0;
  std::unique_ptr<AtomicFile> file_;
  std::vector<KeptRecording> recordings_;
};

}  // namespace audiomatch
