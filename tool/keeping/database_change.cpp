#include "tool/keeping/database_change.h"

#include <string>
#include <utility>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/keeping/catalogue_file.h"
#include "tool/keeping/temporary_file.h"

namespace audiomatch {
namespace {

namespace fs = std::filesystem;

/// Where a database can stand.
fs::path placeOf(const fs::path& database) {
  const fs::path place = followLinks(database);
  std::error_code error;
  const fs::file_status status = fs::status(place, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw FileError(database, "isn't a regular file, so it is left alone; choose another name");
  }
  return place;
}

std::unique_ptr<AtomicFile> newCatalogue(const fs::path& database,
                                         const std::vector<KeptRecording>& recordings) {
  auto file = std::make_unique<AtomicFile>(catalogueFileOf(database));
  const std::string text = catalogueText(recordings);
  file->write(text.data(), text.size());
  file->complete();
  return file;
}

/// Takes from the catalogue what isn't true of both databases.
void reduceCatalogue(const fs::path& database, const std::vector<KeptRecording>& unchanged) {
  const CatalogueFile old = readCatalogueFile(database);
  if (!old.exists || (old.problem.empty() && old.recordings == unchanged)) return;
  newCatalogue(database, unchanged)->commit();
}

}  // namespace

DatabaseChange::DatabaseChange(const fs::path& database)
    : place_(placeOf(database)), lock_(place_) {}

bool DatabaseChange::exists() const {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(place_, error);
  return !error && size > 0;
}

void DatabaseChange::write(std::vector<KeptRecording> recordings,
                           std::span<const std::unique_ptr<EntrySource>> sources,
                           const BucketWatcher& watcher) {
  file_.reset();
  file_ = std::make_unique<AtomicFile>(place_);
  countEntries(recordings, mergeEntries(recordings, sources, watcher, *file_));
  recordings_ = std::move(recordings);
}

std::size_t DatabaseChange::audioCount() const noexcept {
  std::size_t count = 0;
  for (const KeptRecording& recording : recordings_) count += recording.parts;
  return count;
}

std::uint64_t DatabaseChange::entryCount() const noexcept {
  std::uint64_t count = 0;
  for (const KeptRecording& recording : recordings_) count += *recording.entries;
  return count;
}

void DatabaseChange::commit(const std::vector<KeptRecording>& unchanged) {
  file_->complete();
  const std::unique_ptr<AtomicFile> catalogue = newCatalogue(place_, recordings_);
  checkInterrupt();
  reduceCatalogue(place_, unchanged);
  file_->commit();
  try {
    catalogue->commit();
  } catch (const FileError& error) {
    throw FileError(
        place_, std::string("is whole and new, but its catalogue isn't there: ") + error.what());
  }
}

}  // namespace audiomatch
