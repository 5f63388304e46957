#include "plain_engine.h"

#include <kiss_fft.h>
#include <libresample.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <set>

namespace plain {

// Logs and returns false, as most messages tell of a failure.
__attribute__((format(printf, 2, 3))) static bool say(Log& log, const char* format, ...) {
  char text[65536];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  log.push_back(text);
  return false;
}

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

bool loadDatabase(const std::vector<uint8_t>& fileBytes, Database& db, Log& log) {
  std::size_t pos = 0;
  const auto bad = [&] { return say(log, "load a bad db."); };
  const auto left = [&] { return uint64_t(fileBytes.size() - pos); };
  const auto number = [&](unsigned size) {  // bytes the file has not got count as 0
    uint64_t value = 0;
    for (unsigned i = 0; i < size && left() > 0; ++i)
      value |= uint64_t(fileBytes[pos++]) << (8 * i);
    return value;
  };
  db = Database();
  const uint64_t name_count = number(4);
  for (uint64_t i = 0; i < name_count; ++i) {
    if (left() < 4) return bad();
    const uint64_t block = number(4) + 1;
    if (left() < block) return bad();
    std::string name;
    for (uint64_t k = 0; k < block && fileBytes[pos + k] != 0; ++k)
      name.push_back(char(fileBytes[pos + k]));
    db.names.push_back(name);
    pos += block;
  }
  const uint64_t table_size = number(4), time_slots = number(4);
  if (table_size != 0x100000 || time_slots != 0x4000) return bad();
  db.buckets.resize(table_size);
  for (std::vector<uint64_t>& bucket : db.buckets) {
    const uint64_t entries = number(4);
    if (8 * entries > (1u << 30) && 8 * entries > left()) return bad();
    bucket.resize(entries);
    for (uint64_t& entry : bucket) entry = number(8);
  }
  return true;
}

std::string audioName(const Database& db, int32_t audioIndex, Log& log) {
  if (audioIndex < 0) return "";
  const std::size_t i = std::size_t(audioIndex);
  const std::string name = i < db.names.size() ? db.names[i] : "";
  say(log, "\n###### Best Match is %s.\n", name.c_str());
  return name;
}

static Hit decode(uint64_t entry, const Feature& feature) {
  const uint32_t time = uint32_t(entry & 0x3FFF);
  return {int32_t(uint32_t(entry >> 14)), int32_t(time - feature.startTime)};
}

bool extractHits(const Database& db, const std::vector<Feature>& features, std::vector<Hit>& hits,
                 Log& log) {
  hits.clear();
  for (const Feature& feature : features)
    if (feature.hashKey < db.buckets.size())
      for (uint64_t entry : db.buckets[feature.hashKey]) hits.push_back(decode(entry, feature));
  return !hits.empty() || say(log, "hit results is empty.");
}

std::vector<Hit> attributeHits(const std::vector<Feature>& features,
                               const std::vector<Attribute>& attributes) {
  std::vector<Hit> hits(attributes.size());
  std::size_t j = 0;
  for (const Feature& feature : features)
    for (; j < attributes.size() && attributes[j].hashKey == feature.hashKey; ++j)
      hits[j] = decode(attributes[j].hashValue, feature);
  return hits;
}

void sortHits(std::vector<Hit>& hits) { std::ranges::stable_sort(hits, {}, &Hit::audio_index); }

int32_t scoreHits(const std::vector<Hit>& sorted, float& discrimination, Log& log) {
  using Group = std::vector<Hit>;
  struct Match {
    int32_t audio_index;
    uint32_t matched_num;
  };
  std::vector<Group> groups;
  std::vector<Match> matches;
  if (sorted.empty()) return -1;
  for (const Hit& hit : sorted) {
    if (groups.empty() || groups.back()[0].audio_index != hit.audio_index)
      groups.push_back(Group());
    groups.back().push_back(hit);
  }
  for (Group& group : groups) std::ranges::stable_sort(group, {}, &Hit::time_offset);
  std::ranges::stable_sort(groups, std::greater(), std::ranges::size);
  for (std::size_t i = 0; i < groups.size() && i < 20; ++i)
    matches.push_back({groups[i][0].audio_index, countConsistentHits(groups[i])});
  std::ranges::stable_sort(matches, std::greater(), &Match::matched_num);
  const uint32_t best = matches[0].matched_num;
  if (best == 0) return -1;
  say(log, "most matched feature num is %d.", best);
  const uint32_t second = matches.size() >= 2 ? matches[1].matched_num : 0;
  say(log, "second most matched feature num is %d.", second);
  discrimination = float(best - second) / float(best + second);
  say(log, "most matched audio discrimination is %f.", double(discrimination));
  return matches[0].audio_index;
}

uint32_t countConsistentHits(const std::vector<Hit>& hits, uint32_t maxIterations) {
  const uint32_t n = uint32_t(hits.size());
  uint32_t best_count = 0, draws = 0, limit = maxIterations;
  int64_t best_error = 2147483647;
  do {
    ++draws;
    const int32_t pivot = hits[uint32_t(lrand48()) % n].time_offset;
    uint32_t count = 0;
    int64_t error = 0;
    for (const Hit& hit : hits) {
      const int32_t difference = int32_t(uint32_t(hit.time_offset) - uint32_t(pivot));
      const bool agrees = difference >= -4 && difference <= 4;  // -2^31 has no absolute value
      if (agrees) ++count;
      error += agrees ? std::abs(difference) : 4;
    }
    if (count < best_count || error >= best_error) continue;
    const float w = float(count) / float(n);
    if (count > best_count && w > FLT_MIN) {
      const float q = 1.0f - w;
      limit = 0;
      if (q > std::bit_cast<float>(0x2B8CBCCCu)) {                           // 1e-12
        const double numerator = double(std::bit_cast<float>(0xC0DD0CB3u));  // ln 0.001
        const double wanted = std::ceil(numerator / std::log(double(q)));
        const bool fits = wanted > -2147483649.0 && wanted < 2147483648.0;
        limit = fits ? uint32_t(int32_t(wanted)) : maxIterations;
      }
    }
    best_count = count;
    best_error = error;
  } while (best_count != n && draws <= limit && draws <= maxIterations);
  return best_count;
}

int32_t discriminationLevel(float discrimination) {
  return discrimination < 0.35f ? 0 : discrimination < 0.5f ? 1 : 2;
}

bool Matcher::init(const Database* database) {
  database_ = database;
  if (!database) say(log_, "input db_path is null.");
  extractor = std::make_unique<Extractor>(false, log_);
  return true;
}

bool Matcher::loadAudio(const Audio* audio) {
  audio_loaded_ = false;
  discrimination = 1.0f;
  if (!audio) return say(log_, "input a NULL audio data.");
  if (!extractor) return say(log_, "feature extractor is NULL.");
  return audio_loaded_ = extractor->load(audio);
}

bool Matcher::extractFeatures() {
  if (!audio_loaded_) return say(log_, "audio data have not loaded.");
  if (!extractor->extract()) return false;
  features = extractor->features;
  return true;
}

bool Matcher::matchAudio(const Audio* audio) {
  std::vector<Hit> hits;
  if (!database_) return say(log_, "query data base is NULL.");
  if (!loadAudio(audio) || !extractFeatures()) return false;
  if (!extractHits(*database_, features, hits, log_))
    return say(log_, "extract all hits from database failed.");
  say(log_, "features num: %d", int(features.size()));
  say(log_, "attribute num: %d", int(hits.size()));
  sortHits(hits);
  best_match_index = scoreHits(hits, discrimination, log_);
  return best_match_index >= 0 || say(log_, "matched failed.");
}

std::string Matcher::bestMatchName() {
  return database_ ? audioName(*database_, best_match_index, log_) : "";
}

bool Matcher::matchByFeaturesAndAttributes(const std::vector<Feature>& given,
                                           const std::vector<Attribute>& attributes,
                                           float* discriminationOut) {
  if (given.empty()) return say(log_, "audio features is empty.");
  if (attributes.empty()) return say(log_, "audio attributes is empty.");
  std::vector<Hit> hits = attributeHits(given, attributes);
  sortHits(hits);
  best_match_index = scoreHits(hits, discrimination, log_);
  // Other negative indices are large stream identifiers.
  if (best_match_index == -1) return say(log_, "matched failed.");
  if (discriminationOut) *discriminationOut = discrimination;
  return true;
}

bool Stream::init(uint32_t streamId, uint32_t updateRate, uint32_t monitorDuration,
                  uint32_t sampleRate, uint32_t channels, uint32_t packetLen) {
  const auto bad = [&] {
    return say(log_,
               "input bad parameters, update_rate = %d, sample rate = %d, monitor_win_len = "
               "%d, input_audio_packet_len = %d.",
               updateRate, sampleRate, monitorDuration, packetLen);
  };
  if (updateRate == 0 || sampleRate == 0 || monitorDuration == 0 || packetLen == 0) return bad();
  if (monitorDuration % updateRate != 0)
    return say(log_, "monitor_duration %% update_rate must be zero.");
  const auto packetsIn = [&](uint64_t seconds) {
    return uint64_t(double(sampleRate * seconds) / double(packetLen) + 0.5);
  };
  const uint64_t per_update = packetsIn(updateRate);
  const uint64_t in_buffer = std::max<uint64_t>(packetsIn(5), 1);
  const uint64_t frames = uint64_t(double(uint64_t(updateRate) * 1000) * 0.03125);
  if (per_update < 1 || per_update > in_buffer) return bad();
  if (in_buffer * packetLen > UINT32_MAX || frames > UINT32_MAX) return bad();

  update_count = slot_count = 0;
  packets.clear();
  extractor_ = std::make_unique<Extractor>(true, log_);
  stream_id_ = streamId;
  sample_rate_ = sampleRate;
  channels_ = channels;
  packet_len_ = packetLen;
  packets_per_update = uint32_t(per_update);
  buffer_packets = uint32_t(in_buffer);
  update_frames = uint32_t(frames);
  Audio buffer;
  if (!shapeAudio(buffer, channels, sampleRate, packetLen * buffer_packets, log_)) return false;
  slot_count = monitorDuration / updateRate;
  slots_.resize(slot_count);
  return true;
}

bool Stream::update(const Audio* packet) {
  if (!packet) return say(log_, "input a null packet.");
  current.clear();
  expired.clear();
  if (!extractor_ || packet->channels != channels_ || packet->len != packet_len_ ||
      packet->rate != sample_rate_)
    return say(log_, "input packet does not match the stream.");
  if (packets.size() < buffer_packets) {
    packets.push_back(*packet);
    return true;
  }
  Audio buffer;
  shapeAudio(buffer, channels_, sample_rate_, packet_len_ * buffer_packets, log_);
  for (std::size_t ch = 0, at = 0; ch < channels_; ++ch)
    for (const Audio& held : packets)
      for (std::size_t i = 0; i < packet_len_; ++i)
        buffer.samples[at++] = held.samples[ch * packet_len_ + i];
  if (!extractor_->load(&buffer)) return say(log_, "feature extractor load audio failed.");
  extractor_->extract();  // a failure leaves no features, which is no failure of the stream
  for (const Feature& feature : extractor_->features) {
    if (feature.startTime > update_frames) continue;
    const uint32_t time = update_count * (update_frames + 1) + feature.startTime;
    current.push_back({(uint64_t(stream_id_) << 14) + (time & 0x3FFF), feature.hashKey});
  }
  std::vector<Attribute>& slot = slots_[update_count % slot_count];
  if (update_count >= slot_count) expired = slot;
  slot = current;
  ++update_count;
  packets.erase(packets.begin(), packets.begin() + std::ptrdiff_t(packets_per_update));
  packets.push_back(*packet);
  return true;
}

}  // namespace plain
