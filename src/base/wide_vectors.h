#pragma once

/// Compiles a function, and all that is inlined into it, a second time for processors with
/// 256-bit vectors; which of both is called is decided when the library is loaded. Both give
/// the same bits: wider vectors hold more values, each of which is computed as before.
///
/// For loops over many values at once that stay on such vectors for a while. Some processors
/// lower their clock after them, which costs more than it brings where they alternate with
/// other work every few microseconds.
///
/// Nothing where the build found that the platform can't do it, and for clang, which doesn't
/// take both attributes: it parses what another compiler builds when the code is checked.
#if defined(AUDIO_TARGET_CLONES) && !defined(__clang__)
#define AUDIO_WIDE_VECTORS [[gnu::flatten, gnu::target_clones("avx2", "default")]]
#else
#define AUDIO_WIDE_VECTORS
#endif
