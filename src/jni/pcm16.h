#pragma once

#include <cstdint>

#include "base/audio_data.h"

namespace audio {

/// The shape of interleaved PCM.
struct PcmShape {
  std::uint32_t channels;
  std::uint32_t frames;       ///< samples per channel
  std::uint32_t sample_rate;  ///< Hz
};

/// Turns interleaved 16-bit PCM into audio: one row per channel, each sample
/// times 1/32767 in single precision. Logs the shape. Null when a count is zero
/// (with AudioData's message) or memory is short.
///
/// @param samples  channels × frames samples, native byte order, any alignment
AudioDataPtr pcm16ToAudioData(const void* samples, const PcmShape& shape) noexcept;

}  // namespace audio
