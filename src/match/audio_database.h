#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "feature/audio_feature.h"
#include "match/audio_hash_hit.h"
#include "match/look_up_table.h"

namespace audio {

class DatabaseFile;

/// The reference side of matching: audio names by index, and a table that
/// files under every hash key the packed (audio index, time) entries of the
/// reference features with that key.
///
/// Loaded once from a file, then only read; const operations may run on
/// several threads. Memory: the file's size and 8 MiB.
class AudioDatabase {
 public:
  AudioDatabase() = default;
  AudioDatabase(const AudioDatabase&) = delete;
  AudioDatabase& operator=(const AudioDatabase&) = delete;

  /// Reads a database file. Failures: "input a NULL db_path.", "can not open
  /// db file %s.", "load a bad db." (wrong magic values, names that run past
  /// the end of the file, a bucket that claims over 1 GiB which the file
  /// hasn't got), "init look up table failed." (no memory).
  ///
  /// A file that ends among the buckets loads; what is missing is empty, and
  /// the missing entries of a bucket cut short are 0. Nothing is allocated on
  /// a count's word alone.
  ///
  /// @param dbPath  zero-terminated path in the system's encoding, may be null
  bool load(const char* dbPath);

  /// Makes the table 2^20 empty buckets. False when memory is short.
  bool initLookUpTable() noexcept;

  /// The name of an audio, logged as "\n###### Best Match is %s.\n"; empty for
  /// an index without a name. A negative index logs nothing.
  std::string audioName(std::int32_t audioIndex) const;

  /// Replaces `hits` by one hit per entry found under each feature's key, in
  /// feature and bucket order. False with "hit results is empty." when there
  /// is none. Throws std::length_error when over 2^24 of them are entries that
  /// a cut bucket claims and the file hasn't got.
  bool extractHits(const std::vector<AudioFeature>& features,
                   std::vector<AudioHashHit>& hits) const;

  /// The entries under a hash key; a view into the database.
  Bucket bucket(std::uint32_t hashKey) const noexcept { return look_up_table_.bucket(hashKey); }

  /// Number of names.
  std::size_t audioCount() const noexcept { return audio_names_.size(); }

 private:
  bool readNames(DatabaseFile& file);
  bool readTable(DatabaseFile& file) noexcept;

  std::vector<std::string> audio_names_;
  LookUpTable look_up_table_;
};

}  // namespace audio
