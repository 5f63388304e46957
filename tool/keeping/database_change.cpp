#include "tool/keeping/database_change.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>

#include "match/database/database_format.h"
#include "match/database/packed_entry.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/keeping/catalogue_file.h"
#include "tool/keeping/temporary_file.h"
#include "tool/output/messages.h"
#include "tool/output/progress.h"

namespace audiomatch {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kBytesWorthABar = std::uint64_t{256} << 20;
constexpr std::uint32_t kBucketsOfAStep = 1 << 14;

/// How long audios are, as far as their entries tell.
class AudioLengths {
 public:
  void see(std::span<const std::uint64_t> entries) {
    for (const std::uint64_t entry : entries) {
      const std::uint32_t audio = audio::entryAudioIndex(entry);
      if (audio >= frames_.size()) frames_.resize(audio + std::size_t{1});
      frames_[audio] = std::max(frames_[audio], audio::entryTime(entry) + 1);
    }
  }

  /// Frames of all of them.
  std::uint64_t sum() const {
    return std::accumulate(frames_.begin(), frames_.end(), std::uint64_t{0});
  }

 private:
  std::vector<std::uint32_t> frames_;
};

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

void DatabaseChange::completeAs(const Catalogue& old, const fs::path& path) {
  if (old.background().empty()) return;
  if (old.background().front() < old.audioCount()) {
    warn("has audios without a name before others; they are taken for background, and not kept",
         path);
  }
  complete({});
}

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
  AudioLengths lengths;
  const auto watch = [&](std::uint32_t key, std::span<const std::uint64_t> bucket) {
    if (watcher) watcher(key, bucket);
    if (completes_) lengths.see(bucket);
    if ((key + 1) % kBucketsOfAStep == 0) progress.step();
  };
  countEntries(recordings, mergeEntries(recordings, sources, watch, *file_));
  recordings_ = std::move(recordings);
  background_ = completes_ && entryCount() > 0 ? backgroundFor(audioCount(), wish_) : 0;
  if (background_ > 0) addBackground(lengths.sum());
}

/// Writes once more what was written, with the background behind it.
void DatabaseChange::addBackground(std::uint64_t frames) {
  file_->complete();
  const auto open = [&] { return std::make_unique<DatabaseFile>(file_->writtenTo()); };
  const auto audios = static_cast<std::uint32_t>(audioCount());
  std::vector<std::uint32_t> same(audios);
  std::iota(same.begin(), same.end(), 0u);
  std::unique_ptr<EntrySource> sources[] = {
      std::make_unique<DatabaseEntries>(open(), std::move(same)),
      std::make_unique<BackgroundEntries>(open(), audios, background_, frames)};
  std::vector<KeptRecording> recordings = recordings_;
  recordings.emplace_back().parts = background_;
  auto completed = std::make_unique<AtomicFile>(place_);
  mergeEntries(recordings, sources, {}, *completed);
  file_ = std::move(completed);
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
