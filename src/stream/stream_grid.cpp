#include "stream/stream_grid.h"

#include <algorithm>

#include "base/analysis_grid.h"

namespace audio {
namespace {

constexpr double kFramesPerMillisecond = 1.0 / (kFrameMs - kOverlapMs);
constexpr std::uint64_t kMax32 = UINT32_MAX;

/// Packets in a duration, halves rounded up.
std::uint64_t packetsIn(std::uint32_t seconds, std::uint32_t sampleRate,
                        std::uint32_t packetLen) noexcept {
  const std::uint64_t samples = std::uint64_t{sampleRate} * seconds;
  return static_cast<std::uint64_t>(static_cast<double>(samples) / packetLen + 0.5);
}

}  // namespace

std::optional<StreamGrid> streamGrid(std::uint32_t updateRate, std::uint32_t monitorDuration,
                                     std::uint32_t sampleRate, std::uint32_t packetLen) noexcept {
  const std::uint64_t per_update = packetsIn(updateRate, sampleRate, packetLen);
  const std::uint64_t per_buffer =
      std::max<std::uint64_t>(packetsIn(kBufferSeconds, sampleRate, packetLen), 1);
  if (per_update < 1 || per_update > per_buffer) return std::nullopt;
  if (per_buffer > kMax32 || per_buffer * packetLen > kMax32) return std::nullopt;
  const double update_frames = updateRate * 1000.0 * kFramesPerMillisecond;
  if (update_frames > static_cast<double>(kMax32)) return std::nullopt;
  return StreamGrid{static_cast<std::uint32_t>(per_buffer),
                    static_cast<std::uint32_t>(per_buffer * packetLen),
                    static_cast<std::uint32_t>(per_update),
                    static_cast<std::uint32_t>(update_frames), monitorDuration / updateRate};
}

}  // namespace audio
