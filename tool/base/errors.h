#pragma once

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace audiomatch {

/// What the tool tells its caller.
enum class ExitCode : int {
  kSuccess = 0,
  kNoMatch = 1,  ///< at least one recording matches nothing
  kUsage = 2,    ///< the arguments make no sense
  kFailure = 3,  ///< something can't be read or written
  kLeftOut = 4,  ///< damaged sound was left out, the rest was used
};

/// How bad a code is: more is worse.
constexpr int rankOf(ExitCode code) noexcept {
  constexpr ExitCode kFromGoodToBad[] = {ExitCode::kSuccess, ExitCode::kNoMatch, ExitCode::kLeftOut,
                                         ExitCode::kUsage};
  return static_cast<int>(std::ranges::find(kFromGoodToBad, code) - kFromGoodToBad);
}

/// The worse of two: what a command tells that met both.
constexpr ExitCode worse(ExitCode a, ExitCode b) noexcept { return rankOf(a) < rankOf(b) ? b : a; }

/// The section on exit codes of help and manual: a sentence, then a line each.
inline constexpr const char* kExitCodesHelp =
    "Exit codes (of several, the worst: 3, else 2, 4, 1, 0):\n"
    "  0  success\n"
    "  1  match, channels: at least one recording was not recognised\n"
    "  2  wrong usage\n"
    "  3  something could not be read or written; standard error names it\n"
    "  4  damaged sound was left out and the rest used; standard error names it\n";

/// A file can't be read, written or used. The text names the file, what is
/// wrong with it and, where that isn't plain, what to do next.
class FileError : public std::runtime_error {
 public:
  FileError(const std::filesystem::path& path, std::string_view problem)
      : std::runtime_error(nameOf(path) + ": " + std::string(problem)),
        path_size_(nameOf(path).size()) {}

  /// The file; '' for an empty path, so that it is seen.
  std::filesystem::path path() const { return std::string(what(), path_size_); }
  /// The text without the file.
  std::string_view problem() const noexcept { return what() + path_size_ + 2; }

 private:
  static std::string nameOf(const std::filesystem::path& path) {
    return path.empty() ? "''" : path.string();
  }

  std::size_t path_size_;
};

/// Arguments that are fine one by one and make no sense together.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace audiomatch
