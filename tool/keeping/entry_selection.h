#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "feature/audio_feature.h"

namespace audiomatch {

/// Stands for no limit on the entries of an audio.
inline constexpr std::size_t kEveryEntry = SIZE_MAX;

/// Entries that are kept of an audio of which only the features are known.
inline constexpr std::size_t kUsualEntries = 20'000;

/// One step of the SplitMix64 generator from state `x`: a bijection that
/// scatters 64-bit numbers (G. Steele, D. Lea and C. Flood, "Fast splittable
/// pseudorandom number generators", 2014).
std::uint64_t splitMix64(std::uint64_t x) noexcept;

/// Reduces an audio's features, of which nothing else is known, to at most
/// `most` database entries, sorted by hash key, then start time, each once; of
/// a recording that was analysed here chooseEntries knows better.
///
/// Matching examines only the few audios with the most hits, so a long or
/// dense reference, which collects many hits by chance, would push out true
/// ones. The entries kept are spread evenly over the audio's seconds, and
/// within a second picked by a fixed pseudo-random order: the same on every
/// machine and whatever the order of the features.
void selectEntries(std::vector<audio::AudioFeature>& features, std::size_t most);

}  // namespace audiomatch
