#include "feature/mono_mix.h"

#include <algorithm>

namespace audio {

AudioDataPtr monoMix(const AudioData& recording) noexcept {
  const std::uint32_t length = recording.dataLen();
  AudioDataPtr mono(AudioData::create(1, recording.sampleRate(), length));
  if (!mono) return nullptr;
  float* mean = mono->channelData(0);
  const std::uint32_t channels = recording.channels();
  if (channels == 1) {
    std::copy_n(recording.channelData(0), length, mean);
    return mono;
  }
  for (std::uint32_t ch = 0; ch < channels; ++ch) {
    const float* channel = recording.channelData(ch);
    for (std::uint32_t i = 0; i < length; ++i) mean[i] += channel[i];
  }
  const float reciprocal = 1.0f / static_cast<float>(channels);
  for (std::uint32_t i = 0; i < length; ++i) mean[i] *= reciprocal;
  return mono;
}

}  // namespace audio
