#include "match/database/database_writer.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "match/database/database_format.h"
#include "match/database/packed_entry.h"

namespace audio {
namespace {

/// The packed entries of all audios, bucket after bucket.
class SortedEntries {
 public:
  explicit SortedEntries(std::span<const DatabaseAudio> audios) : ends_(kTableSize + 1) {
    for (const DatabaseAudio& reference : audios) {
      for (const AudioFeature& entry : reference.entries) {
        if (entry.hashKey >= kTableSize) throw std::out_of_range("a hash key beyond the table");
        ++ends_[entry.hashKey + 1];
      }
    }
    for (std::size_t key = 0; key < kTableSize; ++key) ends_[key + 1] += ends_[key];
    entries_.resize(ends_.back());
    // Now each number is where its bucket starts; filling moves it to its end.
    for (std::uint32_t index = 0; index < audios.size(); ++index) {
      for (const AudioFeature& entry : audios[index].entries) {
        entries_[ends_[entry.hashKey]++] = packEntry(index, entry.startTime);
      }
    }
    for (std::uint32_t key = 0; key < kTableSize; ++key) std::ranges::sort(bucket(key));
  }

  std::span<std::uint64_t> bucket(std::uint32_t key) {
    const std::size_t start = key == 0 ? 0 : ends_[key - 1];
    return std::span(entries_).subspan(start, ends_[key] - start);
  }

 private:
  std::vector<std::size_t> ends_;
  std::vector<std::uint64_t> entries_;
};

}  // namespace

void DatabaseWriter::count(std::size_t number) {
  std::array<unsigned char, kCountBytes> bytes;
  storeLittleEndian(static_cast<std::uint32_t>(number), bytes.data());
  sink_.write(bytes.data(), bytes.size());
}

void DatabaseWriter::beginNames(std::size_t audioCount) { count(audioCount); }

void DatabaseWriter::name(const std::string& name) {
  count(name.size());
  sink_.write(name.c_str(), name.size() + 1);
}

void DatabaseWriter::endNames() {
  count(kTableSize);
  count(kTimeSlots);
}

void DatabaseWriter::bucket(std::span<const std::uint64_t> entries) {
  count(entries.size());
  std::array<unsigned char, kEntryBytes> bytes;
  for (const std::uint64_t entry : entries) {
    storeLittleEndian(entry, bytes.data());
    sink_.write(bytes.data(), bytes.size());
  }
}

void writeDatabase(std::span<const DatabaseAudio> audios, ByteSink& sink) {
  DatabaseWriter writer(sink);
  SortedEntries entries(audios);
  writer.beginNames(audios.size());
  for (const DatabaseAudio& reference : audios) writer.name(reference.name);
  writer.endNames();
  for (std::uint32_t key = 0; key < kTableSize; ++key) writer.bucket(entries.bucket(key));
}

}  // namespace audio
