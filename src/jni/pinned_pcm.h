#pragma once

#include <jni.h>

#include "base/audio_data.h"
#include "jni/pcm16.h"
#include "jni/pinned_array.h"

namespace audio::jni {

/// A Java array of PCM, pinned, and the audio made from it. Both end with the
/// object: the array is released, then the audio.
template <typename Array>
class PinnedPcm {
 public:
  /// Pins a non-null array that holds the shape, and takes it in. False when
  /// Java can't pin it (no message) or pcm16ToAudioData fails. Once per object.
  bool takeIn(JNIEnv* env, Array pcm, const PcmShape& shape) noexcept {
    if (!samples_.pin(env, pcm)) return false;
    audio_data_ = pcm16ToAudioData(samples_.elements(), shape);
    return audio_data_ != nullptr;
  }

  /// The audio, after `takeIn` was true.
  const AudioData& audioData() const noexcept { return *audio_data_; }

 private:
  AudioDataPtr audio_data_;
  PinnedArray<Array> samples_;
};

}  // namespace audio::jni
