#include "match/database/byte_source.h"

#include <sys/stat.h>

#include <cerrno>

namespace audio {

FileSource::FileSource(const char* path) noexcept : file_(std::fopen(path, "rb")) {
  if (!file_) opening_error_ = errno;
}

std::size_t FileSource::read(void* bytes, std::size_t size) noexcept {
  return std::fread(bytes, 1, size, file_.get());
}

std::uint64_t FileSource::remaining() noexcept {
  struct stat status {};
  if (fstat(fileno(file_.get()), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  const off_t position = ftello(file_.get());
  if (position < 0 || status.st_size <= position) return 0;
  return static_cast<std::uint64_t>(status.st_size - position);
}

}  // namespace audio
