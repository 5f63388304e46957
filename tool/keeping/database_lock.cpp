#include "tool/keeping/database_lock.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "tool/base/errors.h"
#include "tool/keeping/catalogue_file.h"
#include "tool/keeping/temporary_file.h"

namespace audiomatch {
namespace {

/// True when the path still names the open file: whoever had the lock before
/// may have removed it between its opening and its locking.
bool isStillNamed(int descriptor, const std::filesystem::path& path) noexcept {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor, &opened) == 0 && stat(path.c_str(), &named) == 0 &&
         opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

/// Who has the lock, as far as its file tells.
std::string holder(int descriptor) {
  char text[32];
  const ssize_t size = pread(descriptor, text, sizeof text, 0);
  std::string_view number(text, size > 0 ? static_cast<std::size_t>(size) : 0);
  number = number.substr(0, number.find('\n'));
  return number.empty() ? "another process" : fmt::format("process {}", number);
}

void noteHolder(int descriptor) noexcept {
  const std::string text = std::to_string(getpid()) + '\n';
  if (ftruncate(descriptor, 0) != 0 || pwrite(descriptor, text.data(), text.size(), 0) < 0) {
    // The others are kept out all the same, and told less.
  }
}

}  // namespace

std::filesystem::path DatabaseLock::fileOf(const std::filesystem::path& database) {
  std::filesystem::path file = database;
  return file += ".lock";
}

DatabaseLock::DatabaseLock(const std::filesystem::path& database) : file_(fileOf(database)) {
  while (!tryOnce(database)) {
  }
  removeLeftovers(database);
  removeLeftovers(catalogueFileOf(database));
}

/// False when the lock's file was removed meanwhile.
bool DatabaseLock::tryOnce(const std::filesystem::path& database) {
  const int descriptor = open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (descriptor < 0) {
    throw FileError(database, fmt::format("can't be changed, since {} can't be made: {}",
                                          file_.filename().string(), std::strerror(errno)));
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    const std::string other = holder(descriptor);
    close(descriptor);
    throw FileError(database, error == EWOULDBLOCK
                                  ? fmt::format("{} is changing it, or is a server that keeps it; "
                                                "try again when that has ended, or send "
                                                "references to the server (POST /v1/references)",
                                                other)
                                  : fmt::format("can't be locked: {}", std::strerror(error)));
  }
  if (!isStillNamed(descriptor, file_)) {
    close(descriptor);
    return false;
  }
  noteHolder(descriptor);
  descriptor_ = descriptor;
  return true;
}

DatabaseLock::~DatabaseLock() {
  // While it is held: afterwards it might be another's.
  unlink(file_.c_str());
  close(descriptor_);
}

}  // namespace audiomatch
