#include "tool/keeping/database_change.h"

#include <string>
#include <utility>

#include "match/database/database_format.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/keeping/catalogue_file.h"
#include "tool/keeping/temporary_file.h"
#include "tool/output/progress.h"

namespace audiomatch {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kBytesWorthABar = std::uint64_t{256} << 20;
constexpr std::uint32_t kBucketsOfAStep = 1 << 14;

/// Where a database can stand.
fs::path placeOf(const fs::path& database) {
  fs::path place = followLinks(database);
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

DatabaseChange::DatabaseChange(const fs::path& database, bool show_progress)
    : place_(placeOf(database)), lock_(place_), show_progress_(show_progress) {}

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
  std::uint64_t bytes = 0;
  for (const auto& source : sources) bytes += source->bytes();
  Progress progress(show_progress_ && bytes >= kBytesWorthABar,
                    audio::kTableSize / kBucketsOfAStep);
  const auto watch = [&](std::uint32_t key, std::span<const std::uint64_t> bucket) {
    if (watcher) watcher(key, bucket);
    if ((key + 1) % kBucketsOfAStep == 0) progress.step();
  };
  countEntries(recordings, mergeEntries(recordings, sources, watch, *file_));
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
