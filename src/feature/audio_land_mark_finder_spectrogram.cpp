// The finder's first half: from samples to the log-magnitude spectrogram.

#include <time.h>

#include "base/analysis_grid.h"
#include "base/logger.h"
#include "feature/audio_land_mark_finder.h"
#include "feature/log_magnitude.h"

namespace audio {
namespace {

std::int64_t monotonicNanoseconds() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

}  // namespace

std::uint64_t frameCount(std::uint64_t samples, std::uint32_t sampleRate) noexcept {
  return SpectrogramGenerator::frameCount(
      Resampler::outputLength(samples, sampleRate, kAnalysisRate), kFrameSamples,
      kFrameSamples - kHopSamples);
}

bool AudioLandMarkFinderBase::genSpectrogram(const float* data, std::uint32_t sampleRate,
                                             std::uint32_t count) {
  if (!sepctrogram_generator) {
    logMessage("sepctrogram_generator is null.");
    outcome_ = ExtractionOutcome::kNotReady;
    return false;
  }
  // For every way to fail that isn't told apart below.
  outcome_ = ExtractionOutcome::kOutOfMemory;
  if (sample_rate != kAnalysisRate && !resampleSegment(data, sampleRate, count)) return false;
  SpectrogramGenerator& generator = *sepctrogram_generator;
  if (!generator.init(data, count, kAnalysisRate, kFrameMs, kOverlapMs)) {
    logMessage("init spectrogram failed.");
    return false;
  }
  if (!generator.run()) {
    logMessage("spectrogram run failed");
    return false;
  }
  const std::int64_t begin = monotonicNanoseconds();
  if (!computeLogMagnitude(generator.spectrum(), generator.bins(), generator.frames())) {
    logMessage("gen spectrogram mag failed.");
    return false;
  }
  const std::int64_t elapsed = monotonicNanoseconds() - begin;
  logMessage("cvt spectrogram mag to db cost %f seconds.",
             static_cast<double>(elapsed) / 1'000'000'000);
  return true;
}

/// Replaces `data` and `count` by the segment at the analysis rate, which the
/// resampler owns.
bool AudioLandMarkFinderBase::resampleSegment(const float*& data, std::uint32_t sampleRate,
                                              std::uint32_t& count) {
  if (!resampler) {
    logMessage("resampler is null.");
    outcome_ = ExtractionOutcome::kNotReady;
    return false;
  }
  if (!isSupportedRate(sampleRate)) outcome_ = ExtractionOutcome::kUnsupportedRate;
  if (!resampler->set(data, count, sampleRate, kAnalysisRate)) {
    logMessage("set resampler failed.");
    if (isSupportedRate(sampleRate) && resampler->outputLen() == 0) {
      outcome_ = ExtractionOutcome::kTooShort;
    }
    return false;
  }
  if (!resampler->process()) {
    logMessage("resampling failed.");
    if (isSupportedRate(sampleRate)) outcome_ = ExtractionOutcome::kTooLong;
    return false;
  }
  data = resampler->output();
  count = resampler->outputLen();
  return true;
}

bool AudioLandMarkFinderBase::computeLogMagnitude(const std::complex<float>* spectrum,
                                                  std::uint32_t bins, std::uint32_t frames) {
  spectrogram.reset();
  bin_num = bins;
  frame_num = frames;
  const auto bytes = matrixBytes(frames, bins, sizeof(float));
  if (bytes) spectrogram = zeroedArray<float>(*bytes);
  if (!spectrogram) {
    logMessage("alloc spectrogram mag failed.");
    return false;
  }
  if (logMagnitudes(spectrum, *bytes / sizeof(float), spectrogram.get())) return true;
  outcome_ = frames == 0 ? ExtractionOutcome::kTooShort : ExtractionOutcome::kSilent;
  return false;
}

}  // namespace audio
