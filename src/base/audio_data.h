#pragma once

#include <cstdint>
#include <memory>

#include "base/memory.h"

namespace audio {

struct AudioDataRelease;

/// Multi-channel audio as 32-bit floats: one contiguous row per channel, all
/// rows in one block, and the sample rate they were recorded at.
///
/// An object is *empty* (all counts zero, no block) or *shaped* (all counts
/// non-zero). It owns its block, lives on the heap and is copied only through
/// `copyFrom`. One thread at a time.
class AudioData {
 public:
  AudioData(const AudioData&) = delete;
  AudioData& operator=(const AudioData&) = delete;

  /// A new object of the given shape, all samples zero; the caller releases
  /// it. Null when a count is zero (see `init` for the message) or memory is
  /// short (no message).
  ///
  /// @param channels    rows
  /// @param sampleRate  Hz
  /// @param dataLen     samples per channel
  static AudioData* create(std::uint32_t channels, std::uint32_t sampleRate,
                           std::uint32_t dataLen) noexcept;

  /// A new empty object to `copyFrom` into, or null when memory is short.
  static AudioData* createEmpty() noexcept;

  /// Destroys the object and clears the caller's pointer; null is allowed.
  static void release(AudioData*& audio) noexcept;

  /// Gives the object a new shape and zero samples.
  ///
  /// A zero count is refused and changes nothing, with one message: on the
  /// channels, else on the rate, else on the samples. When memory is short the
  /// result is false without a message, the counts are the new ones and there
  /// are no samples: such an object can only be released.
  bool init(std::uint32_t channels, std::uint32_t sampleRate, std::uint32_t dataLen) noexcept;

  /// Takes over shape and samples of `other`; fails as `init` does.
  bool copyFrom(const AudioData& other) noexcept;

  std::uint32_t channels() const noexcept { return channels_; }
  /// Samples per channel.
  std::uint32_t dataLen() const noexcept { return data_len_; }
  /// Hz.
  std::uint32_t sampleRate() const noexcept { return sample_rate_; }

  /// The `dataLen` samples of channel `ch`, or null when there is no such row.
  const float* channelData(std::uint32_t ch) const noexcept;
  float* channelData(std::uint32_t ch) noexcept;

 private:
  friend std::unique_ptr<AudioData, AudioDataRelease> monoMix(const AudioData&) noexcept;

  enum class Samples { kZero, kUnset };

  AudioData() noexcept = default;
  ~AudioData() = default;

  bool shape(std::uint32_t channels, std::uint32_t sampleRate, std::uint32_t dataLen,
             Samples samples) noexcept;

  std::uint32_t channels_ = 0;
  std::uint32_t data_len_ = 0;
  std::uint32_t sample_rate_ = 0;
  CArray<float> data_;
};

/// Releases an AudioData that a smart pointer owns.
struct AudioDataRelease {
  void operator()(AudioData* audio) const noexcept { AudioData::release(audio); }
};

/// An AudioData released with its owner.
using AudioDataPtr = std::unique_ptr<AudioData, AudioDataRelease>;

/// The mean of a recording's channels, summed in channel order and scaled by
/// the reciprocal of their number; a copy of one channel. The caller owns it;
/// null when memory is short or, with a message, the recording is empty.
AudioDataPtr monoMix(const AudioData& recording) noexcept;

}  // namespace audio
