#include <cstdlib>

#include "plain_features.h"

namespace plain {

/// The most landmarks of one anchor.
constexpr std::size_t kFanOut = 6;

// All landmarks that the anchor could have: with every peak of the 63 frames after its own that
// lies 1 to 30 bins above or below it.
static std::vector<LandMark> possiblePairs(const Peak& anchor, const Peaks& peaks) {
  std::vector<LandMark> pairs;
  for (std::int32_t delta = 1; delta <= 63; ++delta) {
    const std::size_t target_time = std::size_t(anchor.timeIndex + delta);
    if (target_time >= peaks.size()) break;
    for (const Peak& target : peaks[target_time]) {
      const std::int32_t distance = std::abs(target.freqIndex - anchor.freqIndex);
      if (distance >= 1 && distance <= 30) {
        pairs.push_back({anchor.timeIndex, anchor.freqIndex, target.freqIndex, delta});
      }
    }
  }
  return pairs;
}

// Of every anchor the first six possible landmarks.
std::vector<LandMark> pairPeaks(const Peaks& peaks, Log& log) {
  std::vector<LandMark> landmarks;
  for (const std::vector<Peak>& frame : peaks) {
    for (const Peak& anchor : frame) {
      std::vector<LandMark> pairs = possiblePairs(anchor, peaks);
      if (pairs.size() > kFanOut) pairs.resize(kFanOut);
      landmarks.insert(landmarks.end(), pairs.begin(), pairs.end());
    }
  }
  say(log, "Extract %d land marks.", int(landmarks.size()));
  return landmarks;
}

// Bits 0 to 5 the time difference, 6 to 11 the low bits of the signed bin difference in two's
// complement, 12 to 19 the low bits of the anchor's bin.
std::uint32_t hashLandMark(const LandMark& mark) {
  const std::uint32_t time = std::uint32_t(mark.deltaTime) % 64;
  const std::uint32_t difference = std::uint32_t(mark.targetFreq - mark.anchorFreq) % 64;
  const std::uint32_t anchor = std::uint32_t(mark.anchorFreq) % 256;
  return time + 64 * difference + 4096 * anchor;
}

// The sample at which the pass starts that lies `hops` hops into a recording: hops of 32 ms, in
// single precision, rounded half up.
static std::uint32_t passStart(float hops, std::uint32_t rate) {
  const float seconds = hops * 0.032f;
  const float samples = seconds * float(rate);
  return std::uint32_t(double(samples) + 0.5);
}

// Starts over with another recording, but not with another resampler.
bool Finder::setAudio(const Audio* mono) {
  if (!mono) return fail(log, "input audio data is null.");
  landmarks.clear();
  audio = *mono;
  return true;
}

// The spectrogram of the recording from sample `start` on. A recording at the analysis rate does
// not pass through the resampler, which keeps what it carries.
bool Finder::computeSpectrogram(std::uint32_t start) {
  const std::vector<float>& row = audio->rows[0];
  std::vector<float> samples(row.begin() + start, row.end());
  if (audio->rate != kAnalysisRate && !resampler.convert(samples, audio->rate, log)) return false;
  const std::optional<Matrix> result = logSpectrogram(samples);
  if (!result) return fail(log, "gen spectrogram mag failed.");
  say(log, "cvt spectrogram mag to db cost T seconds.");
  spectrogram = *result;
  return true;
}

// Every pass counts its own frames from 0. A recording too short for a later pass has fewer passes.
bool Finder::findLandMarks() {
  if (!audio) return fail(log, "Audio land mark finder have not initialized successfully.");
  std::vector<float> starts_in_hops = {0.0f, 0.25f, 0.5f, 0.75f};
  if (single_pass) starts_in_hops = {0.0f};
  for (const float hops : starts_in_hops) {
    const std::uint32_t start = passStart(hops, audio->rate);
    if (start >= audio->len()) {
      say(log, "warning : start time > audio duration.");
      return true;
    }
    if (!computeSpectrogram(start)) return fail(log, "gen sepctrogram failed.");
    peaks = extractPeaks(spectrogram, log);
    const std::vector<LandMark> pairs = pairPeaks(peaks, log);
    landmarks.insert(landmarks.end(), pairs.begin(), pairs.end());
  }
  return true;
}

}  // namespace plain
