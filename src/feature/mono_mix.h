#pragma once

#include "base/audio_data.h"

namespace audio {

/// The mean of a recording's channels, summed in channel order and scaled by
/// the reciprocal of their number; a copy of one channel. The caller owns it;
/// null when memory is short or the recording is empty (AudioData's message).
AudioDataPtr monoMix(const AudioData& recording) noexcept;

}  // namespace audio
