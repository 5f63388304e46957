#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <string_view>

#include "sound.h"

namespace bench {

/// A stretch of a recording that somebody hears, and what is around it.
struct Heard {
  Sound sound;          ///< at its own rate
  const Sound& speech;  ///< others talking, mono at 8 kHz, longer than the stretch
};

/// A way from a recording to whoever asks about it.
struct Condition {
  std::string_view name;  ///< in results
  Sound (*apply)(const Heard& heard, std::mt19937_64& random);
};

/// All that are evaluated, of which the first changes nothing but the rate, to 8 kHz.
///
/// 16kHz, 44kHz: at those rates, so that the engine resamples. quiet: 36 dB down, so that 16 bits
/// leave about ten. mp3: 64 kbit/s at 44.1 kHz. opus: 24 kbit/s at 48 kHz. gsm: GSM 06.10.
/// telephone: 300 to 3400 Hz. clipped: 12 dB too loud for 16 bits. reverb: an echo of a second, as
/// loud as the sound. room-phone: an echo of half a second, pink noise 15 dB below, a telephone's
/// band, Opus of 16 kbit/s, 20 dB down. whiteN: white noise N dB below. babbleN: four who talk at
/// a time, N dB below. tempo: longer or shorter by per cent, as high as it was. speed: the same
/// with the pitch. All that name no rate at 8 kHz. Babble throws std::invalid_argument where there
/// is less speech than sound.
std::span<const Condition> allConditions() noexcept;

/// The sound at another rate (libsoxr).
Sound toRate(const Sound& sound, std::uint32_t rate);

}  // namespace bench
