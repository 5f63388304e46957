#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

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

}  // namespace audio
