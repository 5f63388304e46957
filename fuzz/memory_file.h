#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <span>
#include <string>

#include "fuzz/fuzz_input.h"

namespace audiofuzz {

/// A file without a disk for what opens files by path. It is kept from run to run.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) { FUZZ_REQUIRE(descriptor_ >= 0); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor_); }

  /// Replaces the contents.
  void assign(std::span<const std::uint8_t> bytes) {
    FUZZ_REQUIRE(ftruncate(descriptor_, 0) == 0);
    while (!bytes.empty()) {
      const off_t end = lseek(descriptor_, 0, SEEK_END);
      const ssize_t written = pwrite(descriptor_, bytes.data(), bytes.size(), end);
      FUZZ_REQUIRE(written > 0);
      bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
  }

  /// Every opening of it starts at the file's first byte.
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

}  // namespace audiofuzz
