#pragma once

#include <cstdint>
#include <optional>

namespace audio {

/// Seconds of a stream that are analysed together.
inline constexpr std::uint32_t kBufferSeconds = 5;

/// How a stream's packets fall into buffers, update periods and the monitor
/// window.
struct StreamGrid {
  std::uint32_t buffer_packets;      ///< packets analysed together, about five seconds
  std::uint32_t buffer_len;          ///< their samples per channel
  std::uint32_t packets_per_update;  ///< packets of one update period
  std::uint32_t update_frames;       ///< 32 ms frames of one update period
  std::uint32_t slot_count;          ///< analyses in the monitor window
};

/// Works out a stream's grid, computed wide so that no product wraps.
///
/// Nothing when the update period holds no packet or more packets than the
/// buffer, or when a length doesn't fit 32 bits.
///
/// @param updateRate, monitorDuration  seconds, not zero
/// @param sampleRate                   Hz, not zero
/// @param packetLen                    samples per channel, not zero
std::optional<StreamGrid> streamGrid(std::uint32_t updateRate, std::uint32_t monitorDuration,
                                     std::uint32_t sampleRate, std::uint32_t packetLen) noexcept;

}  // namespace audio
