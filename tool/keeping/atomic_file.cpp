#include "tool/keeping/atomic_file.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "tool/base/errors.h"
#include "tool/keeping/temporary_file.h"

namespace audiomatch {
namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 20;

/// Flushes a folder's list of names, which the renaming changed. Not every
/// file system can; the file itself is on the disk already.
void syncFolder(const std::filesystem::path& folder) noexcept {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

}  // namespace

AtomicFile::AtomicFile(const std::filesystem::path& target) : target_(followLinks(target)) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status status = fs::status(target_, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw FileError(target, "isn't a regular file, so it is left alone; choose another name");
  }
  buffer_.reserve(kBufferSize);
  TemporaryFile temporary = makeTemporaryFile(target_);
  descriptor_ = temporary.descriptor;
  temporary_ = std::move(temporary.path);
  takeOverMode();
}

AtomicFile::~AtomicFile() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

/// Whoever may read the old file may read the new one.
void AtomicFile::takeOverMode() noexcept {
  struct stat old {};
  if (stat(target_.c_str(), &old) == 0 && fchmod(descriptor_, old.st_mode & 07777) != 0) {
    // Its default permissions do as well.
  }
}

void AtomicFile::write(const void* bytes, std::size_t size) {
  const auto* first = static_cast<const unsigned char*>(bytes);
  buffer_.insert(buffer_.end(), first, first + size);
  size_ += size;
  if (buffer_.size() >= kBufferSize) flush();
}

void AtomicFile::flush() {
  std::size_t done = 0;
  while (done < buffer_.size()) {
    const ssize_t written = ::write(descriptor_, buffer_.data() + done, buffer_.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail();
    done += static_cast<std::size_t>(written);
  }
  buffer_.clear();
}

void AtomicFile::complete() {
  if (descriptor_ < 0) return;
  flush();
  if (fsync(descriptor_) != 0) fail();
  if (close(std::exchange(descriptor_, -1)) != 0) fail();
}

void AtomicFile::commit() {
  complete();
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) fail();
  temporary_.clear();
  syncFolder(folderOf(target_));
}

void AtomicFile::fail() const {
  throw FileError(target_, fmt::format("can't be written: {}", std::strerror(errno)));
}

}  // namespace audiomatch
