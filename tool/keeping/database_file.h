#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "match/database/byte_source.h"
#include "match/database/database_reader.h"

namespace audiomatch {

/// A database that is passed over from its first bucket to its last. It has to
/// be whole: what is damaged is refused with the place of the fault.
///
/// What is open stays what it was when the database is replaced meanwhile.
class DatabaseFile {
 public:
  /// Opens a database and reads its names. Throws FileError.
  explicit DatabaseFile(const std::filesystem::path& path);

  const std::filesystem::path& path() const noexcept { return path_; }
  const std::vector<std::string>& names() const noexcept { return reader_.names(); }
  /// Its length.
  std::uint64_t bytes() const noexcept { return bytes_; }

  /// Replaces `entries` by those of the next bucket, all of audios that have a
  /// name. False behind the last bucket. Throws FileError.
  bool nextBucket(std::vector<std::uint64_t>& entries);

 private:
  std::filesystem::path path_;
  audio::FileSource file_;
  std::uint64_t bytes_ = 0;
  audio::DatabaseReader reader_;
};

}  // namespace audiomatch
