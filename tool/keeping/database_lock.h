#pragma once

#include <filesystem>

namespace audiomatch {

/// Keeps a second process from changing a database at the same time. Readers
/// need none: they see the old database or the new one.
///
/// It is a lock on DB.lock, which is there only as long as it is held. What a
/// killed process leaves of it is free at once.
class DatabaseLock {
 public:
  /// Takes the lock and clears away what killed processes left. Throws
  /// FileError when another process has it, which is named, and when no file
  /// can be made there.
  ///
  /// @param database  links followed (followLinks)
  explicit DatabaseLock(const std::filesystem::path& database);
  DatabaseLock(const DatabaseLock&) = delete;
  DatabaseLock& operator=(const DatabaseLock&) = delete;
  ~DatabaseLock();

  /// The lock's file for a database.
  static std::filesystem::path fileOf(const std::filesystem::path& database);

 private:
  bool tryOnce(const std::filesystem::path& database);

  std::filesystem::path file_;
  int descriptor_ = -1;
};

}  // namespace audiomatch
