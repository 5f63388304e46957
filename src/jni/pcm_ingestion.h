#pragma once

#include <jni.h>

#include <cstddef>
#include <optional>

#include "base/audio_data.h"
#include "jni/pcm16.h"
#include "jni/pinned_array.h"

namespace audio::jni {

/// A recording as Java hands it over: interleaved 16-bit samples in an array of
/// bytes or shorts, and its shape in Java's numbers.
template <typename Array>
struct JavaPcm {
  Array array;
  jlong channels;
  jlong frames;       ///< samples per channel
  jlong sample_rate;  ///< Hz
};

/// What the array's length has to be.
enum class PcmLength {
  kEnough,  ///< no fewer samples than the shape says
  kExact,   ///< as many, said before the shape itself is looked at
};

/// Frames of a length in bytes per channel, of which an odd one ignores its
/// last; -1, which no shape accepts, for a length beyond unsigned 32 bits.
jlong framesOfBytes(jlong bytesPerChannel) noexcept;

/// The shape of a recording whose array is long enough. Nothing, and no
/// message, for a null array or a number beyond unsigned 32 bits; nothing, with
/// a message, for an array of the wrong length. Zeros pass: AudioData has
/// messages for them.
///
/// @param elementSize  bytes of an element of the array
std::optional<PcmShape> checkPcm(JNIEnv* env, const JavaPcm<jarray>& pcm, std::size_t elementSize,
                                 PcmLength length) noexcept;

/// A recording taken in: its array, pinned, and the audio made from it. Both
/// end with the object: the array is released, then the audio.
template <typename Array>
class PcmIngestion {
 public:
  /// Checks the recording, pins its array, calls `pinned` and converts. False
  /// when a check fails (see checkPcm), when Java can't pin the array (no
  /// message), when `pinned()` is false, or for a zero count and for lack of
  /// memory (as AudioData::create). Once per object.
  template <typename Pinned>
  bool takeIn(JNIEnv* env, const JavaPcm<Array>& pcm, PcmLength length, Pinned pinned) noexcept {
    const auto shape = checkPcm(env, {pcm.array, pcm.channels, pcm.frames, pcm.sample_rate},
                                sizeof(typename PinnedArray<Array>::Element), length);
    if (!shape || !samples_.pin(env, pcm.array) || !pinned()) return false;
    audio_data_ = pcm16ToAudioData(samples_.elements(), *shape);
    return audio_data_ != nullptr;
  }

  /// The same with nothing to do in between.
  bool takeIn(JNIEnv* env, const JavaPcm<Array>& pcm, PcmLength length) noexcept {
    return takeIn(env, pcm, length, [] { return true; });
  }

  /// The audio, after `takeIn` was true.
  const AudioData& audioData() const noexcept { return *audio_data_; }

 private:
  AudioDataPtr audio_data_;
  PinnedArray<Array> samples_;
};

}  // namespace audio::jni
