#include "jni/pcm16.h"

#include <bit>
#include <cstddef>
#include <cstring>

#include "base/logger.h"

namespace audio {
namespace {

// 1 / 32767 to the nearest float.
constexpr float kPcmScale = std::bit_cast<float>(0x38000100u);

/// Scales every `stride`-th byte pair from `next` on into a zeroed row.
void scaleRow(const unsigned char* next, std::size_t stride, float* row,
              std::uint32_t frames) noexcept {
  for (std::uint32_t f = 0; f < frames; ++f, next += stride) {
    // A byte array promises no alignment.
    std::int16_t sample;
    std::memcpy(&sample, next, sizeof sample);
    row[f] += kPcmScale * static_cast<float>(sample);
  }
}

}  // namespace

AudioDataPtr pcm16ToAudioData(const void* samples, const PcmShape& shape) noexcept {
  AudioDataPtr audio(AudioData::create(shape.channels, shape.sampleRate, shape.frames));
  if (!audio) return nullptr;
  logMessage("audio channels = %d.", static_cast<int>(audio->channels()));
  logMessage("audio sample rate = %d.", static_cast<int>(audio->sampleRate()));
  logMessage("audio data len = %d.", static_cast<int>(audio->dataLen()));

  const auto* first = static_cast<const unsigned char*>(samples);
  const std::size_t stride = std::size_t{shape.channels} * sizeof(std::int16_t);
  for (std::uint32_t ch = 0; ch < shape.channels; ++ch) {
    scaleRow(first + ch * sizeof(std::int16_t), stride, audio->channelData(ch), shape.frames);
  }
  return audio;
}

}  // namespace audio
