#include "tool/input/ogg_end.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace audiomatch {
namespace {

constexpr std::size_t kHeaderBytes = 27;
constexpr unsigned char kLastPage = 4;

}  // namespace

bool oggEndIsThere(std::string_view last_bytes) noexcept {
  const std::size_t found = last_bytes.rfind("OggS");
  if (found == std::string_view::npos) return false;
  const std::string_view page = last_bytes.substr(found);
  if (page.size() < kHeaderBytes) return false;
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(page[i]); };
  const std::size_t segments = byte(26);
  if (page.size() < kHeaderBytes + segments) return false;
  std::size_t size = kHeaderBytes + segments;
  for (std::size_t i = 0; i < segments; ++i) size += byte(kHeaderBytes + i);
  return page.size() >= size && (byte(5) & kLastPage) != 0;
}

bool oggEndIsThere(const Descriptor& file) {
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return true;
  std::string bytes(std::min(kMostOggPageBytes, static_cast<std::size_t>(status.st_size)), '\0');
  const off_t start = status.st_size - static_cast<off_t>(bytes.size());
  if (pread(file.get(), bytes.data(), bytes.size(), start) != std::ssize(bytes)) return true;
  const std::string_view last_bytes = bytes;
  return oggEndIsThere(last_bytes);
}

}  // namespace audiomatch
