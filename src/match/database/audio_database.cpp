#include "match/database/audio_database.h"

#include <algorithm>
#include <stdexcept>

#include "base/logger.h"
#include "match/database/byte_source.h"
#include "match/database/database_format.h"

namespace audio {
namespace {

constexpr std::uint64_t kMaxMissingHits = std::uint64_t{1} << 24;

/// Writes one hit per entry; returns the place behind the last.
AudioHashHit* appendHits(const Bucket& bucket, std::uint32_t startTime,
                         AudioHashHit* out) noexcept {
  for (std::size_t i = 0; i < bucket.stored; ++i) {
    *out++ = hitOf(loadLittleEndian<std::uint64_t>(bucket.entries + i * kEntryBytes), startTime);
  }
  return std::fill_n(out, bucket.count - bucket.stored, hitOf(0, startTime));
}

DatabaseState stateAfter(LookUpTable::Reading reading, bool failed) noexcept {
  switch (reading) {
    case LookUpTable::Reading::kWhole:
      return DatabaseState::kWhole;
    case LookUpTable::Reading::kCut:
      return failed ? DatabaseState::kReadFailed : DatabaseState::kCut;
    case LookUpTable::Reading::kBadClaim:
      return failed ? DatabaseState::kReadFailed : DatabaseState::kDamaged;
    case LookUpTable::Reading::kOutOfMemory:
      break;
  }
  return DatabaseState::kOutOfMemory;
}

}  // namespace

bool AudioDatabase::load(const char* dbPath) {
  state_ = DatabaseState::kNotLoaded;
  opening_error_ = 0;
  if (!dbPath) {
    logMessage("input a NULL db_path.");
    return false;
  }
  FileSource file(dbPath);
  opening_error_ = file.openingError();
  if (!file.isOpen()) {
    logMessage("can not open db file %s.", dbPath);
    state_ = DatabaseState::kCannotOpen;
    return false;
  }
  return load(file);
}

bool AudioDatabase::load(ByteSource& source) {
  const auto refuse = [this](DatabaseState state) {
    logMessage("load a bad db.");
    state_ = state;
    return false;
  };
  // What an exception leaves behind.
  state_ = DatabaseState::kOutOfMemory;
  opening_error_ = 0;
  if (!readHeader(source, &audio_names_)) {
    return refuse(source.failed() ? DatabaseState::kReadFailed : DatabaseState::kDamaged);
  }
  const LookUpTable::Reading reading =
      initLookUpTable() ? look_up_table_.read(source) : LookUpTable::Reading::kOutOfMemory;
  state_ = stateAfter(reading, source.failed());
  if (reading == LookUpTable::Reading::kBadClaim) return refuse(state_);
  if (reading != LookUpTable::Reading::kOutOfMemory) return true;
  logMessage("init look up table failed.");
  return false;
}

bool AudioDatabase::initLookUpTable() noexcept { return look_up_table_.clear(); }

std::string_view AudioDatabase::name(std::int32_t audioIndex) const noexcept {
  const auto index = static_cast<std::size_t>(audioIndex);
  return audioIndex >= 0 && index < audio_names_.size() ? audio_names_[index] : std::string_view();
}

std::string AudioDatabase::audioName(std::int32_t audioIndex) const {
  if (audioIndex < 0) return {};
  std::string name(this->name(audioIndex));
  logMessage("\n###### Best Match is %s.\n", name.c_str());
  return name;
}

/// Counts the hits of all features. False when too many of them are only
/// claimed: what a damaged file claims must not decide on memory.
bool AudioDatabase::countHits(const std::vector<AudioFeature>& features,
                              std::uint64_t& total) const noexcept {
  std::uint64_t missing = 0;
  total = 0;
  for (const AudioFeature& feature : features) {
    const Bucket found = bucket(feature.hashKey);
    total += found.count;
    missing += found.count - found.stored;
  }
  return missing <= kMaxMissingHits;
}

bool AudioDatabase::extractHits(const std::vector<AudioFeature>& features,
                                std::vector<AudioHashHit>& hits) const {
  std::uint64_t total = 0;
  if (!countHits(features, total)) throw DamagedDatabase();
  // Checked here, as a size may have fewer bits than the sum.
  if (total > hits.max_size()) throw std::length_error("more hits than memory can hold");
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
