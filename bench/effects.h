#pragma once

#include <cstddef>
#include <random>
#include <vector>

#include "sound.h"

namespace bench {

/// What happens to sound between a loudspeaker and a listener's recording, one thing at a time.
/// What can't be done, for lack of memory, ends the program.

/// The sound at another rate, from 800 to 79,999 Hz, by the engine's resampler.
Sound atRate(const Sound& sound, std::uint32_t rate);

/// Played faster by a factor, or slower below 1: it is shorter and higher (libsoxr).
Sound atSpeed(const Sound& sound, double factor);

/// The same, as high as it was (SoundTouch).
Sound atTempo(const Sound& sound, double factor);

/// As MP3 of a bit rate and decoded again. Rates of 32, 44.1 and 48 kHz, and half of them.
Sound throughMp3(const Sound& sound, double kilobits);

/// As Opus of a bit rate from 6 kbit/s and decoded again; at 8, 12, 16, 24 or 48 kHz.
Sound throughOpus(const Sound& sound, double kilobits);

/// As GSM 06.10 and decoded again, which is for 8 kHz.
Sound throughGsm(const Sound& sound);

/// Takes away what is below or above a frequency: 12 dB an octave.
void highPass(Sound& sound, double hertz);
void lowPass(Sound& sound, double hertz);

/// Makes all samples this many times as large.
void scale(std::vector<float>& samples, double factor);

/// Adds a noise, so that it is some decibels louder than the sound, or below it; then turns both
/// down where they would be cut off.
void addNoise(Sound& sound, std::vector<float> noise, double decibels);

/// What reflections of a room make of a sound: an echo of noise that falls by 60 dB within some
/// seconds and is as loud in all as the sound itself.
void reverberate(Sound& sound, double seconds, std::mt19937_64& random);

/// White noise between -1 and 1.
std::vector<float> whiteNoise(std::size_t samples, std::mt19937_64& random);

/// White noise through three poles, within half a decibel of pink from 10 Hz up
/// (P. Kellet's "economy" filter).
std::vector<float> pinkNoise(std::size_t samples, std::mt19937_64& random);

}  // namespace bench
