#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace audio {

/// A file opened for reading its bytes in order. The engine opens files only
/// here. What can't be read reads as nothing: the end of the file and an
/// error are one. Only an open file may be read.
class DatabaseFile {
 public:
  /// Opens `path` for binary reading; `isOpen` tells whether that worked.
  explicit DatabaseFile(const char* path) noexcept;

  bool isOpen() const noexcept { return file_ != nullptr; }

  /// Reads up to `size` bytes; returns how many came.
  std::size_t read(void* bytes, std::size_t size) noexcept;

  /// Reads a little-endian count. Bytes that the file hasn't got count as
  /// zero; `whole`, if given, tells whether it had them all.
  std::uint32_t readCount(bool* whole = nullptr) noexcept;

  /// Bytes from here to the end, 0 when that isn't known (a pipe).
  std::uint64_t remaining() noexcept;

 private:
  struct Close {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace audio
