#pragma once

/// Compiles a function, and all that is inlined into it, a second time for processors with
/// 256-bit vectors; which of both is called is decided when the library is loaded. Both give
/// the same bits: wider vectors hold more values, each of which is computed as before.
///
/// For loops over many values at once that stay on such vectors for a while. Some processors
/// lower their clock after them, which costs more than it brings where they alternate with
/// other work every few microseconds.
///
/// Nothing but for g++ on x86-64 with glibc: clang doesn't take both attributes, others have no
/// loader that decides. Nor with sanitizers, which aren't ready at that time.
#if defined(__x86_64__) && defined(__gnu_linux__) && !defined(__clang__) && \
    !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define AUDIO_WIDE_VECTORS [[gnu::flatten, gnu::target_clones("avx2", "default")]]
#else
#define AUDIO_WIDE_VECTORS
#endif
