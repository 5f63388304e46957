#include "jni/pcm16.h"

#include <bit>
#include <cstddef>
#include <cstring>

#include "base/logger.h"

namespace audio {
namespace {

constexpr float kPcmScale = 1.0f / 32767.0f;
static_assert(std::bit_cast<std::uint32_t>(kPcmScale) == 0x38000100);

/// Scales samples `first`, `first` + `stride`, ... into a zeroed row.
void scaleRow(const unsigned char* bytes, std::size_t first, std::size_t stride, float* row,
              std::uint32_t frames) noexcept {
  std::size_t number = first;
  for (std::uint32_t f = 0; f < frames; ++f, number += stride) {
    // A byte array promises no alignment.
    std::int16_t sample;
    std::memcpy(&sample, bytes + number * sizeof sample, sizeof sample);
    row[f] += kPcmScale * static_cast<float>(sample);
  }
}

}  // namespace

AudioDataPtr pcm16ToAudioData(const void* samples, const PcmShape& shape) noexcept {
  AudioDataPtr audio(AudioData::create(shape.channels, shape.sample_rate, shape.frames));
  if (!audio) return nullptr;
  logMessage("audio channels = %d.", static_cast<int>(audio->channels()));
  logMessage("audio sample rate = %d.", static_cast<int>(audio->sampleRate()));
  logMessage("audio data len = %d.", static_cast<int>(audio->dataLen()));

  const auto* bytes = static_cast<const unsigned char*>(samples);
  for (std::uint32_t ch = 0; ch < shape.channels; ++ch) {
    scaleRow(bytes, ch, shape.channels, audio->channelData(ch), shape.frames);
  }
  return audio;
}

}  // namespace audio
