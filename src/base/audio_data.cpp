#include "base/audio_data.h"

#include <algorithm>
#include <new>

#include "base/logger.h"
#include "base/memory.h"

namespace audio {
namespace {

void startSum(float* __restrict sum, const float* values, std::uint32_t count) noexcept {
  // A sum that begins at zero: one of negative zeros is zero.
  for (std::uint32_t i = 0; i < count; ++i) sum[i] = 0.0f + values[i];
}

void addToSum(float* __restrict sum, const float* values, std::uint32_t count) noexcept {
  for (std::uint32_t i = 0; i < count; ++i) sum[i] += values[i];
}

void finishMean(float* __restrict sum, const float* values, std::uint32_t count,
                float factor) noexcept {
  for (std::uint32_t i = 0; i < count; ++i) sum[i] = (sum[i] + values[i]) * factor;
}

}  // namespace

AudioData* AudioData::create(std::uint32_t channels, std::uint32_t sampleRate,
                             std::uint32_t dataLen) noexcept {
  AudioData* audio = createEmpty();
  if (audio && !audio->init(channels, sampleRate, dataLen)) release(audio);
  return audio;
}

AudioData* AudioData::createEmpty() noexcept { return new (std::nothrow) AudioData; }

void AudioData::release(AudioData*& audio) noexcept {
  delete audio;
  audio = nullptr;
}

bool AudioData::init(std::uint32_t channels, std::uint32_t sampleRate,
                     std::uint32_t dataLen) noexcept {
  return shape(channels, sampleRate, dataLen, Samples::kZero);
}

/// As `init`; the caller is about to write what is unset.
bool AudioData::shape(std::uint32_t channels, std::uint32_t sampleRate, std::uint32_t dataLen,
                      Samples samples) noexcept {
  if (channels == 0) {
    logMessage("input a invalid channel num = %d.", static_cast<int>(channels));
    return false;
  }
  if (sampleRate == 0) {
    logMessage("input a invalid sample rate = %d.", static_cast<int>(sampleRate));
    return false;
  }
  if (dataLen == 0) {
    logMessage("input a invalid sample count = %d.", static_cast<int>(dataLen));
    return false;
  }
  channels_ = channels;
  sample_rate_ = sampleRate;
  data_len_ = dataLen;
  data_.reset();
  if (const auto bytes = matrixBytes(channels, dataLen, sizeof(float))) {
    data_ = samples == Samples::kZero ? zeroedArray<float>(*bytes) : unsetArray<float>(*bytes);
  }
  return data_ != nullptr;
}

bool AudioData::copyFrom(const AudioData& other) noexcept {
  if (this == &other) return true;
  if (!shape(other.channels_, other.sample_rate_, other.data_len_, Samples::kUnset)) return false;
  for (std::uint32_t ch = 0; ch < channels_; ++ch) {
    std::copy_n(other.channelData(ch), data_len_, channelData(ch));
  }
  return true;
}

const float* AudioData::channelData(std::uint32_t ch) const noexcept {
  if (ch >= channels_ || !data_) return nullptr;
  return data_.get() + static_cast<std::size_t>(ch) * data_len_;
}

float* AudioData::channelData(std::uint32_t ch) noexcept {
  return const_cast<float*>(static_cast<const AudioData*>(this)->channelData(ch));
}

AudioDataPtr monoMix(const AudioData& recording) noexcept {
  const std::uint32_t length = recording.dataLen();
  AudioDataPtr mono(AudioData::createEmpty());
  if (!mono || !mono->shape(1, recording.sampleRate(), length, AudioData::Samples::kUnset)) {
    return nullptr;
  }
  float* mean = mono->channelData(0);
  const std::uint32_t channels = recording.channels();
  if (channels == 1) {
    std::copy_n(recording.channelData(0), length, mean);
    return mono;
  }
  const float reciprocal = 1.0f / static_cast<float>(channels);
  // Stretch by stretch, so that the sums stay in the first-level cache until scaled.
  constexpr std::uint32_t kStretch = 2048;
  for (std::uint32_t left = length; left > 0;) {
    const std::uint32_t start = length - left;
    const std::uint32_t count = std::min(kStretch, left);
    const auto row = [&](std::uint32_t ch) { return recording.channelData(ch) + start; };
    startSum(mean + start, row(0), count);
    for (std::uint32_t ch = 1; ch + 1 < channels; ++ch) addToSum(mean + start, row(ch), count);
    finishMean(mean + start, row(channels - 1), count, reciprocal);
    left -= count;
  }
  return mono;
}

}  // namespace audio
