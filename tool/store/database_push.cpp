#include "tool/store/database_push.h"

#include <set>
#include <span>
#include <string_view>

#include "match/database/packed_entry.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/keeping/catalogue.h"
#include "tool/keeping/database_file.h"

namespace audiomatch {
namespace {

// Entries added at a time, each of 8 bytes here and some more on their way.
constexpr std::uint64_t kAtOnce = std::uint64_t{1} << 22;

/// Entries of each audio.
std::vector<std::uint64_t> countEntries(DatabaseFile file) {
  std::vector<std::uint64_t> counts(file.names().size());
  std::vector<std::uint64_t> bucket;
  while (file.nextBucket(bucket)) {
    checkInterrupt();
    for (const std::uint64_t entry : bucket) ++counts[audio::entryAudioIndex(entry)];
  }
  return counts;
}

/// The recordings from `begin` on whose entries fit into one addition, at least one, and whose
/// names differ.
std::size_t endOfBatch(const Catalogue& catalogue, std::size_t begin) {
  std::uint64_t entries = 0;
  std::set<std::string_view> names;
  std::size_t end = begin;
  while (end < catalogue.recordings().size()) {
    const KeptRecording& next = catalogue.recordings()[end];
    entries += next.entries.value_or(0);
    if (!names.insert(next.name).second || (end > begin && entries > kAtOnce)) break;
    ++end;
  }
  return end;
}

/// The recordings of a batch with their entries.
std::vector<NewReference> readBatch(const std::filesystem::path& database,
                                    const Catalogue& catalogue, std::size_t begin,
                                    std::size_t end) {
  std::vector<NewReference> batch;
  std::vector<std::vector<audio::AudioFeature>*> of_audio;
  for (const KeptRecording& recording :
       std::span(catalogue.recordings()).subspan(begin, end - begin)) {
    batch.push_back(
        {recording.name, std::vector<std::vector<audio::AudioFeature>>(recording.parts)});
  }
  for (NewReference& reference : batch) {
    for (auto& part : reference.parts) of_audio.push_back(&part);
  }
  std::uint32_t next = 0;
  const KeptRecording* const first = catalogue.recordings().data();
  const std::vector<std::uint32_t> place_of = catalogue.newIndices(
      [&](const KeptRecording& recording) {
        return &recording >= first + begin && &recording < first + end;
      },
      next);
  DatabaseFile file(database);
  if (file.names().size() != place_of.size()) {
    throw FileError(database, "was changed meanwhile; push it again");
  }
  std::vector<std::uint64_t> bucket;
  for (std::uint32_t key = 0; file.nextBucket(bucket); ++key) {
    for (const std::uint64_t entry : bucket) {
      const std::uint32_t place = place_of[audio::entryAudioIndex(entry)];
      if (place != kNoIndex) of_audio[place]->push_back({audio::entryTime(entry), key});
    }
  }
  return batch;
}

std::uint64_t entriesOf(const NewReference& reference) noexcept {
  std::uint64_t entries = 0;
  for (const auto& part : reference.parts) entries += part.size();
  return entries;
}

}  // namespace

Pushed pushDatabase(const std::filesystem::path& database, ReferenceStore& store,
                    const std::function<void(std::uint64_t, std::uint64_t)>& progress) {
  Catalogue catalogue(DatabaseFile(database).names(), {});
  const std::vector<std::uint64_t> counts = countEntries(DatabaseFile(database));
  catalogue.countEntries(counts);
  std::uint64_t all = 0;
  for (const KeptRecording& recording : catalogue.recordings()) all += *recording.entries;
  Pushed pushed;
  std::uint64_t done = 0;
  for (std::size_t begin = 0; begin < catalogue.recordings().size();) {
    const std::size_t end = endOfBatch(catalogue, begin);
    const std::vector<NewReference> batch = readBatch(database, catalogue, begin, end);
    std::uint64_t entries = 0;
    for (const NewReference& reference : batch) entries += entriesOf(reference);
    const std::vector<Adding> added = store.add(batch, [&](double share) {
      checkInterrupt();
      progress(done + static_cast<std::uint64_t>(share * static_cast<double>(entries)), all);
    });
    for (std::size_t i = 0; i < batch.size(); ++i) {
      pushed.added += added[i] == Adding::kAdded;
      pushed.present += added[i] == Adding::kPresent;
      if (added[i] == Adding::kConflict) pushed.conflicts.push_back(batch[i].name);
      if (added[i] == Adding::kAdded) pushed.entries += entriesOf(batch[i]);
    }
    done += entries;
    progress(done, all);
    begin = end;
  }
  return pushed;
}

}  // namespace audiomatch
