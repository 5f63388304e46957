#pragma once

#include <cstdint>
#include <random>
#include <string_view>

#include "sound.h"

namespace bench {

/// What becomes of a recording on its way to a listener.
enum class Condition {
  kClean,
  kTelephone,
  kMp3,
  kNoise0,
  kNoise5,
  kQuiet,
  kBackground15,
  kBackground5,
  kMobile
};

/// Those that recordings of a database are asked for in.
inline constexpr Condition kConditions[] = {Condition::kClean,  Condition::kTelephone,
                                            Condition::kMp3,    Condition::kNoise0,
                                            Condition::kNoise5, Condition::kQuiet};

/// The name of a condition in results.
std::string_view nameOf(Condition condition) noexcept;

/// Sorts of sound that no database holds.
enum class Noise { kWhite, kPink, kHush, kChord };

inline constexpr Noise kNoises[] = {Noise::kWhite, Noise::kPink, Noise::kHush, Noise::kChord};

/// The name of a sort of noise in results.
std::string_view nameOf(Noise noise) noexcept;

/// Noise at 8 kHz: white and pink ones, a hush of one step of 16 bits, or a chord of six steady
/// tones between 100 and 3000 Hz.
Sound makeNoise(Noise noise, std::size_t samples, std::mt19937_64& random);

/// What a listener gets of a sound.
///
/// Clean: the sound. Telephone: `narrow`. MP3: 24 kbit/s at 22,050 Hz, decoded again. Noise: at
/// 8 kHz with pink noise as loud as the sound is there, or 5 dB louder. Quiet: at 8 kHz, 36 dB
/// down, so that 16 bits leave about ten. Background: as noise, 15 or 5 dB below the sound.
/// Mobile: 300 to 3400 Hz through GSM 06.10, decoded again.
///
/// @param narrow  the same sound at 8 kHz
Sound roughen(const Sound& sound, const Sound& narrow, Condition condition,
              std::mt19937_64& random);

}  // namespace bench
