#include "roughening.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>

#include "base/analysis_grid.h"
#include "dsp/resampler.h"

namespace bench {
namespace {

constexpr std::uint32_t kMp3Rate = 22'050;
constexpr double kMp3Kilobits = 24.0;
constexpr int kMp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
constexpr int kGsm = SF_FORMAT_WAV | SF_FORMAT_GSM610;

/// A file in memory, as libsndfile sees it.
struct MemoryFile {
  std::vector<char> bytes;
  sf_count_t place = 0;

  static MemoryFile& of(void* self) { return *static_cast<MemoryFile*>(self); }
  static sf_count_t length(void* self) { return static_cast<sf_count_t>(of(self).bytes.size()); }
  static sf_count_t tell(void* self) { return of(self).place; }
  static sf_count_t seek(sf_count_t offset, int whence, void* self) {
    const sf_count_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? tell(self) : length(self);
    return of(self).place = from + offset;
  }
  static sf_count_t read(void* to, sf_count_t size, void* self) {
    const sf_count_t came = std::min(size, length(self) - tell(self));
    if (came <= 0) return 0;
    std::memcpy(to, of(self).bytes.data() + tell(self), static_cast<std::size_t>(came));
    of(self).place += came;
    return came;
  }
  static sf_count_t write(const void* from, sf_count_t size, void* self) {
    const auto end = static_cast<std::size_t>(tell(self) + size);
    if (of(self).bytes.size() < end) of(self).bytes.resize(end);
    std::memcpy(of(self).bytes.data() + tell(self), from, static_cast<std::size_t>(size));
    of(self).place += size;
    return size;
  }
};

SF_VIRTUAL_IO kMemory{MemoryFile::length, MemoryFile::seek, MemoryFile::read, MemoryFile::write,
                      MemoryFile::tell};

/// A sound in a format of libsndfile's at its rate, and decoded again.
Sound throughCodec(const Sound& sound, int format) {
  MemoryFile file;
  SF_INFO info{};
  info.samplerate = static_cast<int>(sound.rate);
  info.channels = 1;
  info.format = format;
  SNDFILE* const encoder = sf_open_virtual(&kMemory, SFM_WRITE, &info, &file);
  if (!encoder) std::abort();
  if (format == kMp3) {
    int mode = SF_BITRATE_MODE_CONSTANT;
    // At this rate 0 stands for 160 kbit/s and 1 for 8.
    double level = (160.0 - kMp3Kilobits) / (160.0 - 8.0);
    sf_command(encoder, SFC_SET_BITRATE_MODE, &mode, sizeof mode);
    sf_command(encoder, SFC_SET_COMPRESSION_LEVEL, &level, sizeof level);
  }
  sf_writef_float(encoder, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
  sf_close(encoder);
  file.place = 0;
  info = {};
  SNDFILE* const decoder = sf_open_virtual(&kMemory, SFM_READ, &info, &file);
  if (!decoder) std::abort();
  Sound decoded{std::vector<float>(static_cast<std::size_t>(info.frames)), sound.rate};
  const sf_count_t came = sf_readf_float(decoder, decoded.samples.data(), info.frames);
  decoded.samples.resize(static_cast<std::size_t>(came));
  sf_close(decoder);
  return decoded;
}

enum class Pass { kHigh, kLow };

/// A Butterworth filter of second order (R. Bristow-Johnson's formulas).
void filter(std::vector<float>& samples, Pass pass, double hertz) {
  const double angle = 2.0 * std::numbers::pi * hertz / audio::kAnalysisRate;
  const double alpha = std::sin(angle) / std::numbers::sqrt2;
  const double sign = pass == Pass::kLow ? 1.0 : -1.0;
  const double scale = 1.0 / (1.0 + alpha);
  const double outer = scale * (1.0 - sign * std::cos(angle)) / 2.0;
  const double a1 = -2.0 * scale * std::cos(angle);
  const double a2 = scale * (1.0 - alpha);
  double before = 0.0;  // what the samples so far add to the next one
  double before2 = 0.0;
  for (float& sample : samples) {
    const double in = static_cast<double>(sample);
    const double out = outer * in + before;
    before = 2.0 * sign * outer * in - a1 * out + before2;
    before2 = outer * in - a2 * out;
    sample = static_cast<float>(out);
  }
}

float uniform(std::mt19937_64& random) {
  return static_cast<float>(random() >> 40) * 0x1p-23f - 1.0f;
}

/// White noise through three poles, within half a decibel of pink from 10 Hz up
/// (P. Kellet's "economy" filter).
std::vector<float> pinkNoise(std::size_t samples, std::mt19937_64& random) {
  std::vector<float> noise(samples);
  float a = 0.0f;
  float b = 0.0f;
  float c = 0.0f;
  for (float& sample : noise) {
    const float white = uniform(random);
    a = 0.99765f * a + white * 0.0990460f;
    b = 0.96300f * b + white * 0.2965164f;
    c = 0.57000f * c + white * 1.0526913f;
    sample = (a + b + c + white * 0.1848f) * 0.1f;
  }
  return noise;
}

std::vector<float> chord(std::size_t samples, std::mt19937_64& random) {
  std::vector<float> sum(samples);
  for (int tone = 0; tone < 6; ++tone) {
    const double hertz = 1550.0 + 1450.0 * static_cast<double>(uniform(random));
    const double step = 2.0 * std::numbers::pi * hertz / audio::kAnalysisRate;
    for (std::size_t i = 0; i < samples; ++i) {
      sum[i] += static_cast<float>(0.1 * std::sin(step * static_cast<double>(i)));
    }
  }
  return sum;
}

double rms(const std::vector<float>& samples) {
  double sum = 0.0;
  for (const float sample : samples) sum += static_cast<double>(sample) * sample;
  return std::sqrt(sum / static_cast<double>(std::max<std::size_t>(samples.size(), 1)));
}

void scale(std::vector<float>& samples, double factor) {
  for (float& sample : samples) sample *= static_cast<float>(factor);
}

/// Adds pink noise, then turns the sum down where it would be cut off.
void addNoise(std::vector<float>& samples, double decibels, std::mt19937_64& random) {
  std::vector<float> noise = pinkNoise(samples.size(), random);
  scale(noise, rms(samples) / rms(noise) * std::pow(10.0, decibels / 20.0));
  float peak = 1.0f;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] += noise[i];
    peak = std::max(peak, std::abs(samples[i]));
  }
  scale(samples, 1.0 / static_cast<double>(peak));
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
    const float level = noise == Noise::kHush ? 1.5f / 32767.0f : 0.25f;
    sound.samples.resize(samples);
    for (float& sample : sound.samples) sample = level * uniform(random);
  }
  return sound;
}

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

Sound roughen(const Sound& sound, const Sound& narrow, Condition condition,
              std::mt19937_64& random) {
  if (condition == Condition::kClean) return sound;
  if (condition == Condition::kMp3) return throughCodec(atRate(sound, kMp3Rate), kMp3);
  Sound result = narrow;
  if (condition == Condition::kNoise0) addNoise(result.samples, 0.0, random);
  if (condition == Condition::kNoise5) addNoise(result.samples, 5.0, random);
  if (condition == Condition::kBackground15) addNoise(result.samples, -15.0, random);
  if (condition == Condition::kBackground5) addNoise(result.samples, -5.0, random);
  if (condition == Condition::kQuiet) scale(result.samples, std::pow(10.0, -36.0 / 20.0));
  if (condition == Condition::kMobile) {
    scale(result.samples, 0.5);  // so that no filter overdrives it
    filter(result.samples, Pass::kHigh, 300.0);
    filter(result.samples, Pass::kLow, 3400.0);
    return throughCodec(result, kGsm);
  }
  return result;
}

}  // namespace bench
