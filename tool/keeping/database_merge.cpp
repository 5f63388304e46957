#include "tool/keeping/database_merge.h"

#include <algorithm>
#include <numeric>

#include "match/database/database_format.h"
#include "match/database/packed_entry.h"
#include "tool/base/interrupt.h"

namespace audiomatch {
namespace {

constexpr std::uint32_t kBucketsBetweenLooks = 1 << 12;

/// Appends entries with the indices that their audios get; those that get none
/// are left out.
void appendAs(const std::vector<std::uint32_t>& index_of, std::span<const std::uint64_t> entries,
              std::vector<std::uint64_t>& bucket) {
  for (const std::uint64_t entry : entries) {
    const std::uint32_t index = index_of[audio::entryAudioIndex(entry)];
    if (index != kNoIndex) bucket.push_back(audio::packEntry(index, audio::entryTime(entry)));
  }
}

void writeNames(std::span<const KeptRecording> recordings, audio::DatabaseWriter& writer) {
  std::size_t audios = 0;
  for (const KeptRecording& recording : recordings) audios += recording.parts;
  writer.beginNames(audios);
  for (const KeptRecording& recording : recordings) {
    for (std::size_t part = 0; part < recording.parts; ++part) writer.name(recording.name);
  }
  writer.endNames();
}

}  // namespace

void DatabaseEntries::appendNext(std::vector<std::uint64_t>& bucket) {
  file_->nextBucket(entries_);
  appendAs(index_of_, entries_, bucket);
}

void NewEntries::appendNext(std::vector<std::uint64_t>& bucket) {
  entries_.clear();
  pass_.appendNext(entries_);
  const auto first = static_cast<std::ptrdiff_t>(bucket.size());
  appendAs(index_of_, entries_, bucket);
  // Audios were numbered as their analyses ended.
  std::sort(bucket.begin() + first, bucket.end());
}

std::vector<std::uint64_t> mergeEntries(std::span<const KeptRecording> recordings,
                                        std::span<const std::unique_ptr<EntrySource>> sources,
                                        const BucketWatcher& watcher, audio::ByteSink& sink) {
  audio::DatabaseWriter writer(sink);
  writeNames(recordings, writer);
  std::size_t audios = 0;
  for (const KeptRecording& recording : recordings) audios += recording.parts;
  std::vector<std::uint64_t> entries_of(audios);
  std::vector<std::uint64_t> bucket;
  for (std::uint32_t key = 0; key < audio::kTableSize; ++key) {
    if (key % kBucketsBetweenLooks == 0) checkInterrupt();
    bucket.clear();
    for (const auto& source : sources) source->appendNext(bucket);
    for (const std::uint64_t entry : bucket) ++entries_of[audio::entryAudioIndex(entry)];
    if (watcher) watcher(key, bucket);
    writer.bucket(bucket);
  }
  // Those behind the last bucket are faults, too.
  for (const auto& source : sources) source->appendNext(bucket);
  return entries_of;
}

}  // namespace audiomatch
