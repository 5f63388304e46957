#include "match/audio_database.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "base/logger.h"
#include "match/database_file.h"
#include "match/database_format.h"

namespace audio {
namespace {

constexpr std::uint64_t kMaxMissingHits = std::uint64_t{1} << 24;

/// Reads a name's block of L bytes and a terminator, piece by piece, since L
/// may be anything. False when the file ends first.
bool readName(DatabaseFile& file, std::string& name) {
  bool whole = false;
  std::uint64_t missing = std::uint64_t{file.readCount(&whole)} + 1;
  if (!whole) return false;
  char piece[4096];
  while (missing > 0) {
    const std::size_t size =
        missing < sizeof piece ? static_cast<std::size_t>(missing) : sizeof piece;
    if (file.read(piece, size) != size) return false;
    name.append(piece, size);
    missing -= size;
  }
  // Without a zero byte the whole block is the name.
  if (const std::size_t end = name.find('\0'); end != std::string::npos) {
    name.resize(end);
    name.shrink_to_fit();
  }
  return true;
}

/// Writes one hit per entry; returns the place behind the last.
AudioHashHit* appendHits(const Bucket& bucket, std::uint32_t startTime,
                         AudioHashHit* out) noexcept {
  for (std::size_t i = 0; i < bucket.stored; ++i) {
    *out++ = hitOf(loadLittleEndian<std::uint64_t>(bucket.entries + i * kEntryBytes), startTime);
  }
  return std::fill_n(out, bucket.count - bucket.stored, hitOf(0, startTime));
}

}  // namespace

bool AudioDatabase::load(const char* dbPath) {
  if (!dbPath) {
    logMessage("input a NULL db_path.");
    return false;
  }
  DatabaseFile file(dbPath);
  if (!file.isOpen()) {
    logMessage("can not open db file %s.", dbPath);
    return false;
  }
  if (!readNames(file)) {
    logMessage("load a bad db.");
    return false;
  }
  const std::uint32_t table_size = file.readCount();
  const std::uint32_t time_slots = file.readCount();
  if (table_size != kTableSize || time_slots != kTimeSlots) {
    logMessage("load a bad db.");
    return false;
  }
  if (!initLookUpTable() || !readTable(file)) {
    logMessage("init look up table failed.");
    return false;
  }
  if (!look_up_table_.finish()) {
    logMessage("load a bad db.");
    return false;
  }
  return true;
}

bool AudioDatabase::readNames(DatabaseFile& file) {
  const std::uint32_t name_count = file.readCount();
  audio_names_.clear();
  const std::uint64_t remaining = file.remaining();
  if (remaining > 0 && remaining < std::uint64_t{name_count} * (kCountBytes + 1)) return false;
  for (std::uint32_t i = 0; i < name_count; ++i) {
    std::string name;
    if (!readName(file, name)) return false;
    audio_names_.push_back(std::move(name));
  }
  return true;
}

/// Reads the bucket records, in pieces that fit the second-level cache. False
/// when memory is short.
bool AudioDatabase::readTable(DatabaseFile& file) noexcept {
  constexpr std::uint64_t kPiece = std::uint64_t{256} << 10;
  std::uint64_t expected = file.remaining();
  bool known = expected > 0;
  while (!look_up_table_.complete()) {
    // Behind the end of a file of known size only a look whether it has grown,
    // for which the block needn't grow.
    const std::uint64_t piece =
        known ? std::clamp<std::uint64_t>(expected, kEntryBytes, kPiece) : kPiece;
    unsigned char* room = look_up_table_.room(static_cast<std::size_t>(piece), expected);
    if (!room) return false;
    const std::size_t size = file.read(room, static_cast<std::size_t>(piece));
    if (size == 0) break;
    look_up_table_.append(size);
    known = known && size <= expected;
    expected -= known ? size : expected;
  }
  return true;
}

bool AudioDatabase::initLookUpTable() noexcept { return look_up_table_.init(); }

std::string AudioDatabase::audioName(std::int32_t audioIndex) const {
  if (audioIndex < 0) return {};
  const auto index = static_cast<std::size_t>(audioIndex);
  std::string name = index < audio_names_.size() ? audio_names_[index] : std::string();
  logMessage("\n###### Best Match is %s.\n", name.c_str());
  return name;
}

bool AudioDatabase::extractHits(const std::vector<AudioFeature>& features,
                                std::vector<AudioHashHit>& hits) const {
  std::uint64_t total = 0;
  std::uint64_t missing = 0;
  for (const AudioFeature& feature : features) {
    const Bucket found = bucket(feature.hashKey);
    total += found.count;
    missing += found.count - found.stored;
  }
  // What a damaged file only claims must not decide on memory.
  if (missing > kMaxMissingHits || total > hits.max_size()) {
    throw std::length_error("more hits than the database can have");
  }
  hits.resize(static_cast<std::size_t>(total));

  // Buckets lie anywhere in memory: a group of them is asked for before the
  // first of the group is read.
  constexpr std::size_t kGroup = 32;
  Bucket buckets[kGroup];
  AudioHashHit* next = hits.data();
  for (std::size_t first = 0; first < features.size(); first += kGroup) {
    const std::size_t size = std::min(kGroup, features.size() - first);
    for (std::size_t i = 0; i < size; ++i) {
      buckets[i] = bucket(features[first + i].hashKey);
      __builtin_prefetch(buckets[i].entries);
    }
    for (std::size_t i = 0; i < size; ++i) {
      next = appendHits(buckets[i], features[first + i].startTime, next);
    }
  }
  if (hits.empty()) {
    logMessage("hit results is empty.");
    return false;
  }
  return true;
}

}  // namespace audio
