#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace audiomatch {

/// A file of a list, and what it is to be called.
struct ListedFile {
  std::filesystem::path path;
  std::string name;  ///< empty for one that isn't given
};

/// Reads a list of files, "-" for standard input. A line is FILE, or FILE, a
/// tab and NAME. With `null`, a zero byte ends a FILE, which may have any other
/// byte, tabs and line ends too, and there are no names. Throws FileError.
std::vector<ListedFile> readInputList(const std::filesystem::path& list, bool null);

}  // namespace audiomatch
