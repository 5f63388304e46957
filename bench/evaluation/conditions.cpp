#include "conditions.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/analysis_grid.h"
#include "effects.h"

namespace bench {
namespace {

using Random = std::mt19937_64;

constexpr double kTelephoneLow = 300.0;
constexpr double kTelephoneHigh = 3400.0;
constexpr int kVoices = 4;

double factorOf(double decibels) { return std::pow(10.0, decibels / 20.0); }

Sound narrow(const Heard& heard) { return toRate(heard.sound, audio::kAnalysisRate); }

Sound clean(const Heard& heard, Random&) { return narrow(heard); }

template <std::uint32_t kRate>
Sound atRateOf(const Heard& heard, Random&) {
  return toRate(heard.sound, kRate);
}

Sound quiet(const Heard& heard, Random&) {
  Sound sound = narrow(heard);
  scale(sound.samples, factorOf(-36.0));
  return sound;
}

Sound asMp3(const Heard& heard, Random&) { return throughMp3(toRate(heard.sound, 44'100), 64.0); }

Sound asOpus(const Heard& heard, Random&) { return throughOpus(toRate(heard.sound, 48'000), 24.0); }

Sound asGsm(const Heard& heard, Random&) {
  Sound sound = narrow(heard);
  scale(sound.samples, 0.5);  // so that the codec doesn't overdrive it
  return throughGsm(sound);
}

Sound throughTelephone(Sound sound) {
  highPass(sound, kTelephoneLow);
  lowPass(sound, kTelephoneHigh);
  return sound;
}

Sound telephone(const Heard& heard, Random&) { return throughTelephone(narrow(heard)); }

Sound clipped(const Heard& heard, Random&) {
  // What goes beyond full scale is cut off when the samples become 16 bits.
  Sound sound = narrow(heard);
  float peak = 0.0f;
  for (const float sample : sound.samples) peak = std::max(peak, std::abs(sample));
  if (peak > 0.0f) scale(sound.samples, factorOf(12.0) / static_cast<double>(peak));
  return sound;
}

Sound reverb(const Heard& heard, Random& random) {
  Sound sound = narrow(heard);
  reverberate(sound, 1.0, random);
  return sound;
}

Sound roomAndPhone(const Heard& heard, Random& random) {
  Sound sound = narrow(heard);
  reverberate(sound, 0.5, random);
  addNoise(sound, pinkNoise(sound.samples.size(), random), -15.0);
  sound = throughOpus(throughTelephone(std::move(sound)), 16.0);
  scale(sound.samples, factorOf(-20.0));
  return sound;
}

template <int kDecibels>
Sound inWhiteNoise(const Heard& heard, Random& random) {
  Sound sound = narrow(heard);
  addNoise(sound, whiteNoise(sound.samples.size(), random), -kDecibels);
  return sound;
}

template <int kDecibels>
Sound inBabble(const Heard& heard, Random& random) {
  Sound sound = narrow(heard);
  std::vector<float> babble(sound.samples.size());
  if (heard.speech.samples.size() < babble.size()) {
    throw std::invalid_argument("there is too little speech for babble");
  }
  for (int voice = 0; voice < kVoices; ++voice) {
    const std::size_t start = random() % (heard.speech.samples.size() - babble.size() + 1);
    for (std::size_t i = 0; i < babble.size(); ++i) babble[i] += heard.speech.samples[start + i];
  }
  addNoise(sound, std::move(babble), -kDecibels);
  return sound;
}

template <int kPercent>
Sound atTempoOf(const Heard& heard, Random&) {
  return atTempo(narrow(heard), 1.0 + kPercent / 100.0);
}

template <int kPercent>
Sound atSpeedOf(const Heard& heard, Random&) {
  return atSpeed(narrow(heard), 1.0 + kPercent / 100.0);
}

constexpr Condition kConditions[] = {
    {"clean", clean},
    {"16kHz", atRateOf<16'000>},
    {"44kHz", atRateOf<44'100>},
    {"quiet", quiet},
    {"mp3-64", asMp3},
    {"opus-24", asOpus},
    {"gsm", asGsm},
    {"telephone", telephone},
    {"clipped", clipped},
    {"reverb", reverb},
    {"room-phone", roomAndPhone},
    {"white15", inWhiteNoise<15>},
    {"white5", inWhiteNoise<5>},
    {"white0", inWhiteNoise<0>},
    {"babble10", inBabble<10>},
    {"babble5", inBabble<5>},
    {"babble0", inBabble<0>},
    {"tempo-2", atTempoOf<-2>},
    {"tempo+2", atTempoOf<2>},
    {"speed-4", atSpeedOf<-4>},
    {"speed-2", atSpeedOf<-2>},
    {"speed-1", atSpeedOf<-1>},
    {"speed+1", atSpeedOf<1>},
    {"speed+2", atSpeedOf<2>},
    {"speed+4", atSpeedOf<4>},
};

}  // namespace

std::span<const Condition> allConditions() noexcept { return kConditions; }

Sound toRate(const Sound& sound, std::uint32_t rate) {
  Sound result = atSpeed(sound, static_cast<double>(sound.rate) / rate);
  result.rate = rate;
  return result;
}

}  // namespace bench
