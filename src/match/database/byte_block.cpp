#include "match/database/byte_block.h"

#include <cstdint>
#include <cstdlib>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace audio {

bool ByteBlock::reserve(std::size_t capacity) noexcept {
  return capacity <= capacity_ || resize(capacity);
}

void ByteBlock::shrinkTo(std::size_t size) noexcept {
  if (size < capacity_) resize(size > 0 ? size : 1);
}

bool ByteBlock::resize(std::size_t capacity) noexcept {
  void* moved = std::realloc(bytes_.get(), capacity);
  if (!moved) return false;
  bytes_.release();
  bytes_.reset(static_cast<unsigned char*>(moved));
  capacity_ = capacity;
  return true;
}

void ByteBlock::adviseLargePages() noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;
  const auto address = reinterpret_cast<std::uintptr_t>(bytes_.get());
  const auto begin = (address + kLargePage - 1) & ~(kLargePage - 1);
  const auto end = (address + capacity_) & ~(kLargePage - 1);
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#endif
}

}  // namespace audio
