#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "match/database/audio_database.h"

namespace audiomatch {

/// A database to recognise with: loaded once, then shared and only read.
///
/// A recording beyond 16,384 frames is several audios of one name, next to each
/// other; here they are one recording again, with one time.
class ReferenceDatabase {
 public:
  /// Loads a database. Throws FileError when it can't be read, isn't a database
  /// or isn't whole, and std::bad_alloc.
  explicit ReferenceDatabase(const std::filesystem::path& path);

  const audio::AudioDatabase& audios() const noexcept { return *database_; }
  std::shared_ptr<const audio::AudioDatabase> shared() const noexcept { return database_; }

  /// The name of an audio; empty for an index that the database hasn't got.
  std::string name(std::int32_t audioIndex) const;

  /// The first audio of the recording that an audio belongs to; -1 for an
  /// index that the database hasn't got. It stands for the recording.
  std::int32_t recording(std::int32_t audioIndex) const noexcept;

  /// The frame of its recording at which an audio starts.
  std::int32_t startFrame(std::int32_t audioIndex) const noexcept;

 private:
  bool has(std::int32_t audioIndex) const noexcept;

  std::shared_ptr<const audio::AudioDatabase> database_;
  std::vector<std::int32_t> recordings_;  // by audio index
};

}  // namespace audiomatch
