#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "match/database/database_writer.h"

namespace audiomatch {

/// A file that appears under its name only when it is whole.
///
/// It is written under a name of its own in the same folder, flushed to the
/// disk and renamed. Until `commit` returns, and whatever goes wrong, what was
/// there before stays as it was; the destructor removes what isn't committed.
/// A symbolic link stays one: the file that it points to is replaced.
class AtomicFile : public audio::ByteSink {
 public:
  /// Throws FileError when no file can be made there, or when there is
  /// something that isn't a regular file.
  explicit AtomicFile(const std::filesystem::path& target);
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  ~AtomicFile() override;

  /// Appends bytes. Throws FileError.
  void write(const void* bytes, std::size_t size) override;

  /// Brings all of it to the disk, so that little can fail later. Throws
  /// FileError. Only `commit` may follow.
  void complete();

  /// Makes the file appear. Throws FileError. Nothing may follow.
  void commit();

  /// Where it is until `commit`, whole after `complete`.
  const std::filesystem::path& writtenTo() const noexcept { return temporary_; }

  /// Bytes appended so far.
  std::uint64_t size() const noexcept { return size_; }

 private:
  void takeOverMode() noexcept;
  void flush();
  [[noreturn]] void fail() const;

  std::filesystem::path target_;
  std::filesystem::path temporary_;
  int descriptor_ = -1;
  std::vector<unsigned char> buffer_;
  std::uint64_t size_ = 0;
};

}  // namespace audiomatch
