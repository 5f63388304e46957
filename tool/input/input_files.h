#pragma once

#include <filesystem>
#include <vector>

#include "tool/base/errors.h"

namespace audiomatch {

/// A file to be indexed.
struct InputFile {
  std::filesystem::path path;
  bool named;  ///< given by name, so it has to be audio; else found in a folder
};

/// What the arguments of a command come to.
struct InputFiles {
  std::vector<InputFile> files;     ///< each once, in the order of the arguments
  std::vector<FileError> repeated;  ///< messages on files that had come before
  std::vector<FileError> problems;  ///< messages on what can't be read
};

/// Expands files and folders. A folder stands for all files below it, sorted by
/// path byte by byte; links are followed, but into no folder twice. Pipes,
/// sockets and devices in folders are passed over.
///
/// @param left_out  a file that isn't taken from a folder: the database itself
InputFiles expandInputs(const std::vector<std::filesystem::path>& arguments,
                        const std::filesystem::path& left_out);

}  // namespace audiomatch
