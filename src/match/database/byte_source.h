#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace audio {

/// Bytes that are read once, in their order. The seam behind which the file
/// system stands: a reader of a database knows nothing else of files.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Reads up to `size` bytes; returns how many came. Fewer come only at the
  /// end or after an error, which `failed` tells apart.
  virtual std::size_t read(void* bytes, std::size_t size) noexcept = 0;

  /// Bytes from here to the end, 0 when that isn't known (a pipe).
  virtual std::uint64_t remaining() noexcept = 0;

  /// True once a read ended for another reason than the end.
  virtual bool failed() const noexcept = 0;
};

/// A file opened for reading. The engine opens files only here. Only an open
/// file may be read.
class FileSource : public ByteSource {
 public:
  /// Opens `path` for binary reading; `isOpen` tells whether that worked.
  explicit FileSource(const char* path) noexcept;

  bool isOpen() const noexcept { return file_ != nullptr; }
  /// The system's error number of an opening that didn't work, else 0.
  int openingError() const noexcept { return opening_error_; }

  std::size_t read(void* bytes, std::size_t size) noexcept override;
  std::uint64_t remaining() noexcept override;
  bool failed() const noexcept override { return std::ferror(file_.get()) != 0; }

 private:
  struct Close {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> file_;
  int opening_error_ = 0;
};

}  // namespace audio
