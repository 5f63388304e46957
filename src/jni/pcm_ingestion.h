#pragma once

#include <jni.h>

#include <cstddef>
#include <optional>

#include "jni/pcm16.h"

namespace audio::jni {

/// True when a Java number is one of unsigned 32 bits.
bool fits32(jlong number) noexcept;

/// The shape of a recording from three Java numbers; nothing when one is
/// negative or doesn't fit 32 bits. Zeros pass: AudioData has messages for
/// them.
std::optional<PcmShape> pcmShape(jlong channels, jlong frames, jlong sampleRate) noexcept;

/// True when a Java array of `elementSize` byte elements holds the whole shape.
/// Else logs "bad data lenght : %d." with the array's length.
bool arrayHolds(JNIEnv* env, jarray pcm, std::size_t elementSize, const PcmShape& shape) noexcept;

}  // namespace audio::jni
