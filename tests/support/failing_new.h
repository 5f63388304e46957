#pragma once

#include <cstdlib>
#include <new>

// Replaces operator new of a program whose allocations fail; for one of its files.

namespace testing_support {

/// Counts this thread's allocations down to the one that fails; 0 = none.
inline thread_local long failing = 0;

/// True for the allocation that fails.
inline bool fails() { return failing > 0 && --failing == 0; }

/// The program's own: memory for code at `caller`, null when it fails.
void* allocate(std::size_t size, const void* caller) noexcept;

inline void* allocateOrThrow(std::size_t size, const void* caller) {
  if (void* memory = allocate(size > 0 ? size : 1, caller)) return memory;
  throw std::bad_alloc();
}

/// Memory that isn't malloc's, hence not to be freed.
inline thread_local void* foreign = nullptr;

inline void release(void* memory) noexcept {
  if (memory != foreign) std::free(memory);
}

}  // namespace testing_support

#define CALLER __builtin_return_address(0)
void* operator new(std::size_t size) { return testing_support::allocateOrThrow(size, CALLER); }
void* operator new[](std::size_t size) { return testing_support::allocateOrThrow(size, CALLER); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return testing_support::allocate(size > 0 ? size : 1, CALLER);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return testing_support::allocate(size > 0 ? size : 1, CALLER);
}
#undef CALLER
// The compiler sees malloc through the inlined operator new and takes free for
// a mismatch.
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void operator delete(void* memory) noexcept { testing_support::release(memory); }
void operator delete[](void* memory) noexcept { testing_support::release(memory); }
void operator delete(void* memory, std::size_t) noexcept { testing_support::release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { testing_support::release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  testing_support::release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  testing_support::release(memory);
}
