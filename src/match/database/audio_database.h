#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "feature/audio_feature.h"
#include "match/database/audio_hash_hit.h"
#include "match/database/look_up_table.h"

namespace audio {

/// What became of loading a database.
enum class DatabaseState {
  kNotLoaded,   ///< nothing was asked for, or no path given
  kWhole,       ///< loaded, and everything was there
  kCut,         ///< loaded; the file ends early: buckets that it lacks are empty, entries are 0
  kReadFailed,  ///< as kCut, or not loaded, since a read failed; `load` told which
  kCannotOpen,  ///< not loaded; `openingError` has the system's reason
  kDamaged,     ///< not loaded: no database, or one that contradicts itself
  kOutOfMemory,
};

/// A query met more entries that cut buckets claim and the file hasn't got
/// than a database can be believed to have had.
class DamagedDatabase : public std::runtime_error {
 public:
  DamagedDatabase() : std::runtime_error("the database claims entries that it hasn't got") {}
};

/// The reference side of matching: audio names by index, and a table that
/// files under every hash key the packed (audio index, time) entries of the
/// reference features with that key.
///
/// Methods that aren't noexcept throw std::bad_alloc or std::length_error when
/// memory for a list is short.
///
/// Loaded once, then only read; const operations may run on several threads.
/// Memory: the file's size and 8 MiB.
class AudioDatabase {
 public:
  AudioDatabase() = default;
  AudioDatabase(const AudioDatabase&) = delete;
  AudioDatabase& operator=(const AudioDatabase&) = delete;

  /// Reads a database file. Fails, with a message, for a null path, a file
  /// that can't be opened, wrong magic values, names that run past the end of
  /// the file, a bucket that claims over 1 GiB which the file hasn't got, and
  /// lack of memory; `state` tells which.
  ///
  /// A file that ends among the buckets loads; what is missing is empty, and
  /// the missing entries of a bucket cut short are 0. Nothing is allocated on
  /// a count's word alone.
  ///
  /// @param dbPath  zero-terminated path in the system's encoding, may be null
  bool load(const char* dbPath);

  /// The same from any source of bytes.
  bool load(ByteSource& source);

  /// What became of the last loading, and the system's error number where the
  /// file couldn't be opened (else 0).
  DatabaseState state() const noexcept { return state_; }
  int openingError() const noexcept { return opening_error_; }

  /// Makes the table 2^20 empty buckets. False when memory is short.
  bool initLookUpTable() noexcept;

  /// The name of an audio as the answer to a query, which is logged; empty for
  /// an index without a name. A negative index logs nothing.
  std::string audioName(std::int32_t audioIndex) const;

  /// The same without a message; a view into the database.
  std::string_view name(std::int32_t audioIndex) const noexcept;

  /// Replaces `hits` by one hit per entry found under each feature's key, in
  /// feature and bucket order. False, with a message, when there is none.
  /// Throws DamagedDatabase when over 2^24 of them are entries that a cut
  /// bucket claims and the file hasn't got.
  bool extractHits(const std::vector<AudioFeature>& features,
                   std::vector<AudioHashHit>& hits) const;

  /// The entries under a hash key; a view into the database.
  Bucket bucket(std::uint32_t hashKey) const noexcept { return look_up_table_.bucket(hashKey); }

  /// Number of names.
  std::size_t audioCount() const noexcept { return audio_names_.size(); }

 private:
  bool countHits(const std::vector<AudioFeature>& features, std::uint64_t& total) const noexcept;

  DatabaseState state_ = DatabaseState::kNotLoaded;
  int opening_error_ = 0;
  std::vector<std::string> audio_names_;
  LookUpTable look_up_table_;
};

}  // namespace audio
