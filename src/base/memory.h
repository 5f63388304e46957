#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

namespace audio {

/// Releases what `malloc`, `calloc` or a C library allocated.
struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

/// An owned array from the C allocator; null when the allocation failed.
template <typename Element>
using CArray = std::unique_ptr<Element[], FreeDeleter>;

/// `bytes` zero bytes as an array of Element, or null. Large blocks come from
/// the system as zero pages that cost nothing until they are written.
template <typename Element>
CArray<Element> zeroedArray(std::size_t bytes) noexcept {
  return CArray<Element>(static_cast<Element*>(std::calloc(bytes > 0 ? bytes : 1, 1)));
}

/// `bytes` bytes of any content as an array of Element, or null: for what is written
/// from end to end before it is read.
template <typename Element>
CArray<Element> unsetArray(std::size_t bytes) noexcept {
  return CArray<Element>(static_cast<Element*>(std::malloc(bytes > 0 ? bytes : 1)));
}

/// The bytes of rows × columns elements of `elementSize` bytes, or nothing
/// when the product doesn't fit a size. Buffers whose shape comes from
/// outside are sized here.
inline std::optional<std::size_t> matrixBytes(std::uint64_t rows, std::uint64_t columns,
                                              std::size_t elementSize) noexcept {
  std::size_t cells = 0;
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(rows, columns, &cells)) return std::nullopt;
  if (__builtin_mul_overflow(cells, elementSize, &bytes)) return std::nullopt;
  if (bytes > PTRDIFF_MAX) return std::nullopt;
  return bytes;
}

}  // namespace audio
