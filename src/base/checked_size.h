#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace audio {

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
