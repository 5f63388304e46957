#pragma once

#include <filesystem>

namespace audiomatch {

/// The file that a path means: where a symbolic link leads, also to a file
/// that isn't there yet; else the path itself.
std::filesystem::path followLinks(const std::filesystem::path& path);

/// The folder that a file stands in.
std::filesystem::path folderOf(const std::filesystem::path& file);

/// A new file, open for reading and writing.
struct TemporaryFile {
  int descriptor;
  std::filesystem::path path;
};

/// Makes a file beside `target`, named after it and this process. Throws
/// FileError on `target`.
TemporaryFile makeTemporaryFile(const std::filesystem::path& target);

/// Removes the temporary files of `target` whose processes are no more; they
/// were killed. Only for who keeps others from making any (DatabaseLock), and
/// before it makes its own.
void removeLeftovers(const std::filesystem::path& target) noexcept;

}  // namespace audiomatch
