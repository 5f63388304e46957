#include "tool/database_writer.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "match/database_format.h"
#include "match/packed_entry.h"

namespace audiomatch {
namespace {

/// The packed entries of all audios, bucket after bucket.
class Buckets {
 public:
  explicit Buckets(std::span<const DatabaseAudio> audios) : ends_(audio::kTableSize + 1) {
    for (const DatabaseAudio& reference : audios) {
      for (const audio::AudioFeature& entry : reference.entries) ++ends_.at(entry.hashKey + 1);
    }
    for (std::size_t key = 0; key < audio::kTableSize; ++key) ends_[key + 1] += ends_[key];
    entries_.resize(ends_.back());
    // Now each number is where its bucket starts; filling moves it to its end.
    for (std::uint32_t index = 0; index < audios.size(); ++index) {
      for (const audio::AudioFeature& entry : audios[index].entries) {
        entries_[ends_[entry.hashKey]++] = audio::packEntry(index, entry.startTime);
      }
    }
    for (std::uint32_t key = 0; key < audio::kTableSize; ++key) std::ranges::sort(bucket(key));
  }

  std::span<std::uint64_t> bucket(std::uint32_t key) {
    const std::size_t start = key == 0 ? 0 : ends_[key - 1];
    return std::span(entries_).subspan(start, ends_[key] - start);
  }

 private:
  std::vector<std::size_t> ends_;
  std::vector<std::uint64_t> entries_;
};

template <typename Number>
void writeNumber(Number number, AtomicFile& file) {
  std::array<unsigned char, sizeof number> bytes;
  audio::storeLittleEndian(number, bytes.data());
  file.write(bytes.data(), bytes.size());
}

void writeCount(std::size_t count, AtomicFile& file) {
  writeNumber(static_cast<std::uint32_t>(count), file);
}

}  // namespace

void writeDatabase(std::span<const DatabaseAudio> audios, AtomicFile& file) {
  writeCount(audios.size(), file);
  for (const DatabaseAudio& reference : audios) {
    writeCount(reference.name.size(), file);
    file.write(reference.name.c_str(), reference.name.size() + 1);
  }
  writeCount(audio::kTableSize, file);
  writeCount(audio::kTimeSlots, file);
  Buckets buckets(audios);
  for (std::uint32_t key = 0; key < audio::kTableSize; ++key) {
    const auto bucket = buckets.bucket(key);
    writeCount(bucket.size(), file);
    for (const std::uint64_t entry : bucket) writeNumber(entry, file);
  }
}

}  // namespace audiomatch
