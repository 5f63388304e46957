#include "match/database_file.h"

#include <sys/stat.h>

#include "match/database_format.h"

namespace audio {

DatabaseFile::DatabaseFile(const char* path) noexcept : file_(std::fopen(path, "rb")) {}

std::size_t DatabaseFile::read(void* bytes, std::size_t size) noexcept {
  return std::fread(bytes, 1, size, file_.get());
}

std::uint32_t DatabaseFile::readCount(bool* whole) noexcept {
  unsigned char bytes[kCountBytes] = {};
  const std::size_t got = read(bytes, sizeof bytes);
  if (whole) *whole = got == sizeof bytes;
  return loadLittleEndian<std::uint32_t>(bytes);
}

std::uint64_t DatabaseFile::remaining() noexcept {
  struct stat status {};
  if (fstat(fileno(file_.get()), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  const off_t position = ftello(file_.get());
  if (position < 0 || status.st_size <= position) return 0;
  return static_cast<std::uint64_t>(status.st_size - position);
}

}  // namespace audio
