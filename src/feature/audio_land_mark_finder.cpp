#include "feature/audio_land_mark_finder.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>

#include "base/analysis_grid.h"
#include "base/engine_parameters.h"
#include "base/logger.h"

namespace audio {
namespace {

// In hops. Four grids, so that one of them lies close to the reference's.
constexpr std::array<float, 4> kPassOffsets = {0.0f, 0.25f, 0.5f, 0.75f};

/// The parameters of the moment; half a window lies on either side of a cell.
LocalMaxWindow peakWindow() noexcept {
  return {_2d_local_max_detect_time_win_len.value >> 1,
          _2d_local_max_detect_freq_win_len.value >> 1, _2d_local_max_number_per_frame.value};
}

}  // namespace

AudioLandMarkFinderBase::~AudioLandMarkFinderBase() {
  resampler.reset();
  sepctrogram_generator.reset();
  spectrogram.reset();
}

bool AudioLandMarkFinderBase::init(bool singlePass) {
  if (!initResampler()) {
    logMessage("init resampler failed.");
    return false;
  }
  if (!initSpectrogramGenerator()) {
    logMessage("init spectrogram generator failed.");
    return false;
  }
  single_pass = singlePass;
  return true;
}

bool AudioLandMarkFinderBase::initResampler() {
  resampler.reset();
  resampler.reset(new (std::nothrow) Resampler);
  if (!resampler) {
    logMessage("alloc resampler failed.");
    return false;
  }
  return resampler->open(1, kLowestFactor, kHighestFactor);
}

bool AudioLandMarkFinderBase::initSpectrogramGenerator() {
  sepctrogram_generator.reset();
  sepctrogram_generator.reset(new (std::nothrow) SpectrogramGenerator);
  if (!sepctrogram_generator) {
    logMessage("alloc spectrogram failed.");
    return false;
  }
  return true;
}

bool AudioLandMarkFinderBase::setAudio(const AudioData* audioData) {
  if (!audioData) {
    logMessage("input audio data is null.");
    return false;
  }
  landmarks.clear();
  audio = audioData;
  data_len = audioData->dataLen();
  sample_rate = audioData->sampleRate();
  return true;
}

void AudioLandMarkFinderBase::detachAudio() noexcept {
  landmarks.clear();
  audio = nullptr;
  data_len = 0;
  sample_rate = 0;
}

bool AudioLandMarkFinderBase::findLandMarks() {
  if (!audio || !resampler || !sepctrogram_generator) {
    logMessage("Audio land mark finder have not initialized successfully.");
    outcome_ = ExtractionOutcome::kNotReady;
    return false;
  }
  // What an exception leaves behind, here and in a pass.
  outcome_ = ExtractionOutcome::kOutOfMemory;
  const std::span<const float> offsets(kPassOffsets.data(), single_pass ? 1 : kPassOffsets.size());
  std::vector<LandMark> pairs;
  for (const float offset : offsets) {
    const std::uint32_t start = passStart(offset);
    if (start >= data_len) {
      logMessage("warning : start time > audio duration.");
      break;
    }
    if (!runPass(start, pairs)) return false;
  }
  outcome_ = ExtractionOutcome::kFeatures;
  return true;
}

/// The sample at which a pass starts, halves rounded up; the product is
/// formed in single precision.
std::uint32_t AudioLandMarkFinderBase::passStart(float hops) const noexcept {
  const float seconds = hops * kHopSeconds;
  const float samples = seconds * static_cast<float>(sample_rate);
  return static_cast<std::uint32_t>(static_cast<double>(samples) + 0.5);
}

/// @param pairs  scratch, whose memory stays from pass to pass
bool AudioLandMarkFinderBase::runPass(std::uint32_t start, std::vector<LandMark>& pairs) {
  if (!genSpectrogram(audio->channelData(0) + start, sample_rate, data_len - start)) {
    logMessage("gen sepctrogram failed.");
    return false;
  }
  outcome_ = ExtractionOutcome::kOutOfMemory;
  if (!extractPeaks()) {
    logMessage("extract peaks error.");
    return false;
  }
  pairs.clear();
  pairPeaks(pairs);
  landmarks.insert(landmarks.end(), pairs.begin(), pairs.end());
  return true;
}

void AudioLandMarkFinderBase::pairPeaks(std::vector<LandMark>& landMarks) const {
  appendPairs(peaks, landMarks);
  logMessage("Extract %d land marks.", static_cast<int>(landMarks.size()));
}

bool AudioLandMarkFinder2D::extractPeaks() {
  const LocalMaxWindow window = peakWindow();
  logMessage("half local max detect freq win len = %d, half time win len = %d.", window.half_bins,
             window.half_frames);
  detectLocalMaxima(spectrogram.get(), bin_num, frame_num, window, peaks);
  return true;
}

std::uint32_t AudioLandMarkFinder2D::reachFrames() noexcept {
  return static_cast<std::uint32_t>(kTargetFrameReach + std::max(peakWindow().half_frames, 0));
}

}  // namespace audio
