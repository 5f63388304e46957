#include <kiss_fft.h>
#include <libresample.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <set>

#include "plain_log.h"

namespace plain {

bool shapeAudio(Audio& audio, uint32_t channels, uint32_t rate, uint32_t len, Log& log) {
  if (channels == 0) return say(log, "input a invalid channel num = %d.", channels);
  if (rate == 0) return say(log, "input a invalid sample rate = %d.", rate);
  if (len == 0) return say(log, "input a invalid sample count = %d.", len);
  audio = {channels, rate, len, std::vector<float>(std::size_t(channels) * len, 0.0f)};
  return true;
}

Audio fromPcm(const int16_t* interleaved, uint32_t channels, uint32_t frames, uint32_t rate,
              Log& log) {
  const float scale = std::bit_cast<float>(0x38000100u);  // nearest to 1/32767
  Audio audio;
  if (!shapeAudio(audio, channels, rate, frames, log)) return audio;
  say(log, "audio channels = %d.", audio.channels);
  say(log, "audio sample rate = %d.", audio.rate);
  say(log, "audio data len = %d.", audio.len);
  for (std::size_t ch = 0; ch < channels; ++ch)
    for (std::size_t f = 0; f < frames; ++f)
      audio.samples[ch * frames + f] += scale * float(interleaved[f * channels + ch]);
  return audio;
}

std::vector<float> hannWindow(uint32_t size) {
  const double two_pi = 6.283185307179586476925286766559;
  std::vector<float> window(size);
  for (uint32_t i = 0; i < size; ++i)
    window[i] = float(0.5 * (1.0 - std::cos(double(i) * two_pi / double(size - 1))));
  return window;
}

bool shortTimeSpectrum(const float* data, uint32_t len, uint32_t rate, uint32_t winMs,
                       uint32_t overlapMs, Spectrum& s, Log& log) {
  if (!data) return say(log, "input data is NULL");
  const uint32_t win = uint32_t(double(rate) / 1000.0 * double(winMs) + 0.5);
  const uint32_t overlap = uint32_t(double(rate) / 1000.0 * double(overlapMs) + 0.5);
  if (win == 0) say(log, "invalid window size = %d.", win);
  if (overlap == 0 || overlap >= win) return false;
  s.bins = win % 2 == 0 ? win / 2 + 1 : (win + 1) / 2;
  s.frames = len < win ? 0 : (len - overlap) / (win - overlap);
  s.values.clear();
  const std::vector<float> window = hannWindow(win);
  kiss_fft_cfg fft = kiss_fft_alloc(int(win), 0, nullptr, nullptr);
  std::vector<kiss_fft_cpx> in(win), out(win);
  for (uint32_t t = 0; t < s.frames; ++t) {
    const float* frame = data + std::size_t(t) * (win - overlap);
    for (uint32_t i = 0; i < win; ++i) in[i] = {frame[i] * window[i], 0.0f};
    kiss_fft(fft, in.data(), out.data());
    for (uint32_t k = 0; k < s.bins; ++k) s.values.push_back({out[k].r, out[k].i});
  }
  std::free(fft);
  return true;
}

bool logMagnitude(const Spectrum& spectrum, Matrix& matrix) {
  std::vector<float>& v = matrix.values;
  matrix = {spectrum.frames, spectrum.bins, {}};
  float maximum = 0.0f;
  for (const std::complex<float>& value : spectrum.values) {
    const float re = value.real(), im = value.imag();
    const float square = re * re + im * im;
    v.push_back(float(std::sqrt(double(square))));
    if (v.back() > maximum) maximum = v.back();
  }
  if (std::fabs(maximum) < FLT_EPSILON) return false;
  const float floor = maximum / 1000000.0f;
  for (float& value : v) value = float(std::log(double(value < floor ? floor : value)));
  float sum = 0.0f;  // in groups of four, then the rest: the grouping shows in the last bits
  std::size_t i = 0;
  for (; i + 4 <= v.size(); i += 4) sum += ((v[i] + v[i + 1]) + v[i + 2]) + v[i + 3];
  for (; i < v.size(); ++i) sum += v[i];
  const float mean = sum / float(v.size());
  for (float& value : v) value -= mean;
  return true;
}

Peaks extractPeaks(const Matrix& m, Log& log, int32_t timeWinLen, int32_t freqWinLen,
                   int32_t maxPerFrame) {
  const int64_t half_freq = freqWinLen >> 1, half_time = timeWinLen >> 1;
  const auto at = [&](int64_t t, int64_t f) {
    return m.values[std::size_t(t) * m.bins + std::size_t(f)];
  };
  const auto isPeak = [&](int64_t t, int64_t f) {
    const float v = at(t, f);
    for (int64_t dt = -half_time; dt <= half_time; ++dt)
      for (int64_t df = -half_freq; df <= half_freq; ++df) {
        if (t + dt < 0 || t + dt >= int64_t(m.frames)) continue;
        if (f + df < 0 || f + df >= int64_t(m.bins)) continue;
        if (dt == 0 && df == 0) continue;
        const float b = at(t + dt, f + df);
        if (v < b || std::fabs(v - b) < FLT_EPSILON) return false;
      }
    return true;
  };
  say(log, "half local max detect freq win len = %d, half time win len = %d.", int(half_freq),
      int(half_time));
  Peaks peaks(m.frames);
  for (uint32_t t = 0; t < m.frames; ++t) {
    for (uint32_t f = 0; f < m.bins; ++f)
      if (isPeak(t, f)) peaks[t].push_back({int32_t(t), int32_t(f), at(t, f)});
    std::ranges::stable_sort(peaks[t], std::greater(), &Peak::value);
    const int32_t keep = std::min(int32_t(peaks[t].size()), maxPerFrame);
    peaks[t].resize(std::size_t(std::max(keep, 0)));
  }
  return peaks;
}

void pairPeaks(const Peaks& peaks, std::vector<LandMark>& out, Log& log) {
  const int64_t frames = int64_t(peaks.size());
  for (int64_t t1 = 0; t1 < frames; ++t1)
    for (const Peak& anchor : peaks[std::size_t(t1)]) {
      int pairs = 0;
      for (int64_t t2 = t1 + 1; t2 <= std::min(t1 + 63, frames - 1); ++t2)
        for (const Peak& target : peaks[std::size_t(t2)]) {
          const int32_t f1 = anchor.freqIndex, f2 = target.freqIndex;
          const int64_t distance = std::abs(int64_t(f2) - int64_t(f1));
          if (distance < 1 || distance > 30 || pairs == 6) continue;
          out.push_back({int32_t(t1), f1, f2, int32_t(t2 - t1)});
          ++pairs;
        }
    }
  say(log, "Extract %d land marks.", int(out.size()));
}

uint32_t hashLandMark(const LandMark& mark) {
  const uint32_t distance = (uint32_t(mark.targetFreq) - uint32_t(mark.anchorFreq)) & 0x3F;
  return (uint32_t(mark.deltaTime) & 0x3F) | distance << 6 |
         (uint32_t(mark.anchorFreq) & 0xFF) << 12;
}

void chooseFeatures(std::vector<Feature>& features, Log& log) {
  std::set<uint64_t> keys;
  for (const Feature& f : features) keys.insert((uint64_t(f.hashKey) << 32) + f.startTime);
  features.clear();
  for (uint64_t key : keys) features.push_back({uint32_t(key), uint32_t(key >> 32)});
  say(log, "choose features is %d.", int(features.size()));
}

Finder::Finder(bool singlePass, Log& log)
    : single_pass(singlePass),
      log_(log),
      handle_(resample_open(1, double(0.1f), 10.0), resample_close) {}

bool Finder::setAudio(const Audio* mono) {
  if (!mono) return say(log_, "input audio data is null.");
  landmarks.clear();
  audio = mono;
  return true;
}

bool Finder::resample(const float* data, uint32_t count, uint32_t rate) {
  if (!data) return say(log_, "input a NULL.") || say(log_, "set resampler failed.");
  const double factor = 8000.0 / double(rate);
  const double length = double(count) * factor + 0.5;
  if (!(length < 4294967296.0)) return say(log_, "set resampler failed.");  // unallocatable
  resampled.assign(uint32_t(length), 0.0f);  // what libresample does not write stays silent
  if (resampled.empty())
    return say(log_, "resample out_len = 0.") || say(log_, "set resampler failed.");
  int used = 0;
  if (rate == 8000)
    std::copy_n(data, count, resampled.begin());
  else if (resample_process(handle_.get(), factor, const_cast<float*>(data), int(count), 1, &used,
                            resampled.data(), int(resampled.size())) == -1)
    return say(log_, "resampling failed.");
  return true;
}

bool Finder::genSpectrogram(const float* data, uint32_t rate, uint32_t count) {
  Spectrum spectrum;
  if (!audio || audio->rate != 8000) {
    if (!resample(data, count, rate)) return false;
    data = resampled.data();
    count = uint32_t(resampled.size());
  }
  if (!shortTimeSpectrum(data, count, 8000, 64, 32, spectrum, log_))
    return say(log_, "init spectrogram failed.");
  if (!logMagnitude(spectrum, spectrogram)) return say(log_, "gen spectrogram mag failed.");
  return say(log_, "cvt spectrogram mag to db cost T seconds.") || true;
}

bool Finder::findLandMarks() {
  if (!audio) return say(log_, "Audio land mark finder have not initialized successfully.");
  for (float offset : {0.0f, 0.25f, 0.5f, 0.75f}) {
    const float seconds = offset * 0.032f;
    const float samples = seconds * float(audio->rate);
    const uint32_t start = uint32_t(double(samples) + 0.5);
    if (start >= audio->len) return say(log_, "warning : start time > audio duration.") || true;
    if (!genSpectrogram(audio->samples.data() + start, audio->rate, audio->len - start))
      return say(log_, "gen sepctrogram failed.");
    peaks = extractPeaks(spectrogram, log_);
    std::vector<LandMark> scratch;
    pairPeaks(peaks, scratch, log_);
    landmarks.insert(landmarks.end(), scratch.begin(), scratch.end());
    if (single_pass) break;
  }
  return true;
}

bool Extractor::load(const Audio* audio) {
  if (!audio) return say(log_, "input a null audio.");
  features.clear();
  if (audio->len == 0)
    return say(log_, "audio data len = 0.") || say(log_, "prepare audio data failed.");
  if (!shapeAudio(mono, 1, audio->rate, audio->len, log_)) {
    finder.audio = nullptr;
    return say(log_, "create audio data failed.") || say(log_, "prepare audio data failed.");
  }
  for (std::size_t ch = 0; ch < audio->channels; ++ch)
    for (std::size_t i = 0; i < audio->len; ++i)
      mono.samples[i] += audio->samples[ch * audio->len + i];
  for (float& sample : mono.samples) sample *= 1.0f / float(audio->channels);
  if (audio->channels == 1) mono.samples = audio->samples;  // copied as it is
  return finder.setAudio(&mono);
}

bool Extractor::extract() {
  if (!finder.findLandMarks()) return false;
  if (finder.landmarks.empty()) return say(log_, "landmarks is null.");
  features.clear();
  for (const LandMark& mark : finder.landmarks)
    features.push_back({uint32_t(mark.anchorTime), hashLandMark(mark)});
  if (!finder.single_pass) chooseFeatures(features, log_);
  return true;
}

}  // namespace plain
