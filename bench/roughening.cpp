#include "roughening.h"

#include <cmath>
#include <numbers>

#include "base/analysis_grid.h"
#include "effects.h"

namespace bench {
namespace {

constexpr std::uint32_t kMp3Rate = 22'050;
constexpr double kMp3Kilobits = 24.0;

std::vector<float> chord(std::size_t samples, std::mt19937_64& random) {
  std::vector<float> sum(samples);
  const std::vector<float> tones = whiteNoise(6, random);
  for (const float tone : tones) {
    const double hertz = 1550.0 + 1450.0 * static_cast<double>(tone);
    const double step = 2.0 * std::numbers::pi * hertz / audio::kAnalysisRate;
    for (std::size_t i = 0; i < samples; ++i) {
      sum[i] += static_cast<float>(0.1 * std::sin(step * static_cast<double>(i)));
    }
  }
  return sum;
}

/// A sound with pink noise that is some decibels louder, or below it.
Sound withPinkNoise(Sound sound, double decibels, std::mt19937_64& random) {
  addNoise(sound, pinkNoise(sound.samples.size(), random), decibels);
  return sound;
}

Sound throughMobile(Sound sound) {
  scale(sound.samples, 0.5);  // so that no filter overdrives it
  highPass(sound, 300.0);
  lowPass(sound, 3400.0);
  return throughGsm(sound);
}

}  // namespace

std::string_view nameOf(Condition condition) noexcept {
  constexpr std::string_view kNames[] = {"clean", "8kHz",   "mp3",   "pink0", "pink-5",
                                         "quiet", "pink15", "pink5", "mobile"};
  return kNames[static_cast<std::size_t>(condition)];
}

std::string_view nameOf(Noise noise) noexcept {
  constexpr std::string_view kNames[] = {"white", "pink", "hush", "chord"};
  return kNames[static_cast<std::size_t>(noise)];
}

Sound makeNoise(Noise noise, std::size_t samples, std::mt19937_64& random) {
  Sound sound{{}, audio::kAnalysisRate};
  if (noise == Noise::kPink) {
    sound.samples = pinkNoise(samples, random);
  } else if (noise == Noise::kChord) {
    sound.samples = chord(samples, random);
  } else {
    sound.samples = whiteNoise(samples, random);
    scale(sound.samples, noise == Noise::kHush ? 1.5 / 32767.0 : 0.25);
  }
  return sound;
}

Sound roughen(const Sound& sound, const Sound& narrow, Condition condition,
              std::mt19937_64& random) {
  switch (condition) {
    case Condition::kClean:
      return sound;
    case Condition::kTelephone:
      return narrow;
    case Condition::kMp3:
      return throughMp3(atRate(sound, kMp3Rate), kMp3Kilobits);
    case Condition::kNoise0:
      return withPinkNoise(narrow, 0.0, random);
    case Condition::kNoise5:
      return withPinkNoise(narrow, 5.0, random);
    case Condition::kBackground15:
      return withPinkNoise(narrow, -15.0, random);
    case Condition::kBackground5:
      return withPinkNoise(narrow, -5.0, random);
    case Condition::kMobile:
      return throughMobile(narrow);
    case Condition::kQuiet:
      break;
  }
  Sound quiet = narrow;
  scale(quiet.samples, std::pow(10.0, -36.0 / 20.0));
  return quiet;
}

}  // namespace bench
