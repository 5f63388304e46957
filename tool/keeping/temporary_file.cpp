#include "tool/keeping/temporary_file.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/errors.h"

namespace audiomatch {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;
constexpr int kMostNamesTried = 100;
constexpr std::string_view kEnding = ".tmp";

/// The process that made a temporary file of `target`; nothing for other files.
std::optional<pid_t> makerOf(std::string_view file, std::string_view target) {
  if (!file.starts_with(target) || !file.ends_with(kEnding)) return std::nullopt;
  file.remove_prefix(target.size());
  file.remove_suffix(std::min(kEnding.size(), file.size()));
  // What is left is ".PROCESS-NUMBER".
  if (!file.starts_with('.')) return std::nullopt;
  const char* const end = file.data() + file.size();
  pid_t process = 0;
  unsigned number = 0;
  const auto first = std::from_chars(file.data() + 1, end, process);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != '-') return std::nullopt;
  const auto second = std::from_chars(first.ptr + 1, end, number);
  if (second.ec != std::errc() || second.ptr != end || process <= 0) return std::nullopt;
  return process;
}

/// True for a process that is no more. This one hasn't made any file yet: one
/// of its number was left by another.
bool isGone(pid_t process) noexcept {
  return process == getpid() || (kill(process, 0) != 0 && errno == ESRCH);
}

}  // namespace

fs::path followLinks(const fs::path& path) {
  fs::path place = path;
  std::error_code error;
  for (int i = 0; i < kMostLinks && fs::is_symlink(place, error); ++i) {
    const fs::path next = fs::read_symlink(place, error);
    if (error) break;
    place = next.is_absolute() ? next : place.parent_path() / next;
  }
  return place;
}

fs::path folderOf(const fs::path& file) {
  return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

TemporaryFile makeTemporaryFile(const fs::path& target) {
  for (int i = 0; i < kMostNamesTried; ++i) {
    fs::path name = target;
    name += fmt::format(".{}-{}{}", getpid(), i, kEnding);
    const int descriptor = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor >= 0) return {descriptor, name};
    if (errno != EEXIST) break;
  }
  throw FileError(target, fmt::format("can't be written: {}", std::strerror(errno)));
}

void removeLeftovers(const fs::path& target) noexcept try {
  std::error_code error;
  std::vector<fs::path> found;
  fs::directory_iterator entry(folderOf(target), error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string file = entry->path().filename().string();
    const std::optional<pid_t> maker = makerOf(file, target.filename().string());
    if (maker && isGone(*maker)) found.push_back(entry->path());
  }
  for (const fs::path& file : found) fs::remove(file, error);
} catch (const std::bad_alloc&) {
  // They harm nobody.
}

}  // namespace audiomatch
