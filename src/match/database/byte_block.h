#pragma once

#include <cstddef>
#include <memory>

#include "base/memory.h"

namespace audio {

/// A block of bytes that grows without being filled, for files of any size.
class ByteBlock {
 public:
  /// Makes room for `capacity` bytes and keeps what is there. False when
  /// memory is short; the block is then unchanged.
  bool reserve(std::size_t capacity) noexcept;

  /// Asks for large pages where the system has them: the block is visited at
  /// random, and its first touch costs a fault per page. For a block that has
  /// its final size, since growing it afterwards means copying.
  void adviseLargePages() noexcept;

  /// Gives back what lies beyond `size` bytes.
  void shrinkTo(std::size_t size) noexcept;

  /// The block, null before the first `reserve`.
  unsigned char* data() noexcept { return bytes_.get(); }
  const unsigned char* data() const noexcept { return bytes_.get(); }
  /// Its length in bytes.
  std::size_t capacity() const noexcept { return capacity_; }

 private:
  bool resize(std::size_t capacity) noexcept;

  CArray<unsigned char> bytes_;
  std::size_t capacity_ = 0;
};

}  // namespace audio
