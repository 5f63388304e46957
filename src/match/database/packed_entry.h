#pragma once

#include <cstdint>

namespace audio {

// A packed entry: time in bits 0 to 13, audio index in bits 14 to 45, the
// rest ignored. It is what a database bucket holds and what an attribute
// carries.
inline constexpr unsigned kEntryTimeBits = 14;
inline constexpr std::uint64_t kEntryTimeMask = (std::uint64_t{1} << kEntryTimeBits) - 1;

/// Anchor time in 32 ms frames, below 16,384.
constexpr std::uint32_t entryTime(std::uint64_t entry) noexcept {
  return static_cast<std::uint32_t>(entry & kEntryTimeMask);
}

/// Position of the audio among the database's names, or a stream identifier.
constexpr std::uint32_t entryAudioIndex(std::uint64_t entry) noexcept {
  return static_cast<std::uint32_t>(entry >> kEntryTimeBits);
}

/// The entry of an audio at a time, of which the low 14 bits are kept.
constexpr std::uint64_t packEntry(std::uint32_t audioIndex, std::uint32_t time) noexcept {
  return std::uint64_t{audioIndex} << kEntryTimeBits | (time & kEntryTimeMask);
}

}  // namespace audio
