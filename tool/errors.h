#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace audiomatch {

/// A file can't be read, written or used. The text names the file, what is
/// wrong with it and, where that isn't plain, what to do next.
class FileError : public std::runtime_error {
 public:
  FileError(const std::filesystem::path& path, std::string_view problem)
      : std::runtime_error(path.string() + ": " + std::string(problem)) {}
};

/// Arguments that are fine one by one and make no sense together.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Writes one line for the user, "audiomatch: text", to standard error.
void report(std::string_view text) noexcept;

}  // namespace audiomatch
