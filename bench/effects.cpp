#include "effects.h"

#include <SoundTouch.h>
#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "base/analysis_grid.h"
#include "dsp/resampler.h"

namespace bench {
namespace {

enum class Pass { kHigh, kLow };

/// A Butterworth filter of second order (R. Bristow-Johnson's formulas).
void filter(Sound& sound, Pass pass, double hertz) {
  const double angle = 2.0 * std::numbers::pi * hertz / sound.rate;
  const double alpha = std::sin(angle) / std::numbers::sqrt2;
  const double sign = pass == Pass::kLow ? 1.0 : -1.0;
  const double scale = 1.0 / (1.0 + alpha);
  const double outer = scale * (1.0 - sign * std::cos(angle)) / 2.0;
  const double a1 = -2.0 * scale * std::cos(angle);
  const double a2 = scale * (1.0 - alpha);
  double before = 0.0;  // what the samples so far add to the next one
  double before2 = 0.0;
  for (float& sample : sound.samples) {
    const double in = static_cast<double>(sample);
    const double out = outer * in + before;
    before = 2.0 * sign * outer * in - a1 * out + before2;
    before2 = outer * in - a2 * out;
    sample = static_cast<float>(out);
  }
}

double rms(const std::vector<float>& samples) {
  double sum = 0.0;
  for (const float sample : samples) sum += static_cast<double>(sample) * sample;
  return std::sqrt(sum / static_cast<double>(std::max<std::size_t>(samples.size(), 1)));
}

/// Turns a sound down where it would be cut off.
void fit(std::vector<float>& samples) {
  float peak = 1.0f;
  for (const float sample : samples) peak = std::max(peak, std::abs(sample));
  scale(samples, 1.0 / static_cast<double>(peak));
}

/// From -1 up to 1; what the standard library's distributions draw is another library's choice.
float uniform(std::mt19937_64& random) {
  return static_cast<float>(random() >> 40) * 0x1p-23f - 1.0f;
}

}  // namespace

Sound atRate(const Sound& sound, std::uint32_t rate) {
  audio::Resampler resampler;
  if (!resampler.open(1, audio::kLowestFactor, audio::kHighestFactor) ||
      !resampler.set(sound.samples.data(), static_cast<std::uint32_t>(sound.samples.size()),
                     sound.rate, rate) ||
      !resampler.process()) {
    std::abort();
  }
  return {{resampler.output(), resampler.output() + resampler.outputLen()}, rate};
}

Sound atSpeed(const Sound& sound, double factor) {
  const double frames = static_cast<double>(sound.samples.size()) / factor;
  Sound result{std::vector<float>(static_cast<std::size_t>(frames)), sound.rate};
  std::size_t done = 0;
  if (soxr_oneshot(factor, 1.0, 1, sound.samples.data(), sound.samples.size(), nullptr,
                   result.samples.data(), result.samples.size(), &done, nullptr, nullptr,
                   nullptr)) {
    std::abort();
  }
  result.samples.resize(done);
  return result;
}

Sound atTempo(const Sound& sound, double factor) {
  soundtouch::SoundTouch stretcher;
  stretcher.setChannels(1);
  stretcher.setSampleRate(sound.rate);
  stretcher.setTempo(factor);
  stretcher.putSamples(sound.samples.data(), static_cast<unsigned>(sound.samples.size()));
  stretcher.flush();
  Sound result{std::vector<float>(stretcher.numSamples()), sound.rate};
  stretcher.receiveSamples(result.samples.data(), static_cast<unsigned>(result.samples.size()));
  return result;
}

void highPass(Sound& sound, double hertz) { filter(sound, Pass::kHigh, hertz); }
void lowPass(Sound& sound, double hertz) { filter(sound, Pass::kLow, hertz); }

void scale(std::vector<float>& samples, double factor) {
  for (float& sample : samples) sample *= static_cast<float>(factor);
}

void addNoise(Sound& sound, std::vector<float> noise, double decibels) {
  const double level = rms(noise);
  if (level > 0.0) scale(noise, rms(sound.samples) / level * std::pow(10.0, decibels / 20.0));
  for (std::size_t i = 0; i < sound.samples.size(); ++i) sound.samples[i] += noise[i];
  fit(sound.samples);
}

void reverberate(Sound& sound, double seconds, std::mt19937_64& random) {
  const auto length = static_cast<std::size_t>(seconds * sound.rate);
  std::vector<float> echo = whiteNoise(length, random);
  double energy = 0.0;
  for (std::size_t i = 0; i < length; ++i) {
    echo[i] *= static_cast<float>(
        std::pow(10.0, -3.0 * static_cast<double>(i) / static_cast<double>(length)));
    energy += static_cast<double>(echo[i]) * echo[i];
  }
  scale(echo, 1.0 / std::sqrt(energy));
  std::vector<float> heard = sound.samples;
  for (std::size_t i = 0; i < length; ++i) {
    const float gain = echo[i];
    for (std::size_t k = i; k < heard.size(); ++k) heard[k] += gain * sound.samples[k - i];
  }
  fit(heard);
  sound.samples = std::move(heard);
}

std::vector<float> whiteNoise(std::size_t samples, std::mt19937_64& random) {
  std::vector<float> noise(samples);
  for (float& sample : noise) sample = uniform(random);
  return noise;
}

std::vector<float> pinkNoise(std::size_t samples, std::mt19937_64& random) {
  std::vector<float> noise = whiteNoise(samples, random);
  float a = 0.0f;
  float b = 0.0f;
  float c = 0.0f;
  for (float& sample : noise) {
    const float white = sample;
    a = 0.99765f * a + white * 0.0990460f;
    b = 0.96300f * b + white * 0.2965164f;
    c = 0.57000f * c + white * 1.0526913f;
    sample = (a + b + c + white * 0.1848f) * 0.1f;
  }
  return noise;
}

}  // namespace bench
