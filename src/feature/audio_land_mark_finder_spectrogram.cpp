// The finder's first half: from samples to the log-magnitude spectrogram.

#include <time.h>

#include <algorithm>
#include <climits>

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

/// Why a segment can't be resampled, should it be so.
ExtractionOutcome whyNotResampled(std::uint32_t count, std::uint32_t sampleRate) noexcept {
  if (!isSupportedRate(sampleRate)) return ExtractionOutcome::kUnsupportedRate;
  const std::uint64_t length = Resampler::outputLength(count, sampleRate, kAnalysisRate);
  if (length == 0) return ExtractionOutcome::kTooShort;
  const bool too_long = count > INT_MAX || length > INT_MAX;
  return too_long ? ExtractionOutcome::kTooLong : ExtractionOutcome::kOutOfMemory;
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
  if (sample_rate != kAnalysisRate && !resampleSegment(data, sampleRate, count)) return false;
  // For every way to fail that isn't told apart below.
  outcome_ = ExtractionOutcome::kOutOfMemory;
  SpectrogramGenerator& generator = *sepctrogram_generator;
  if (!generator.prepare(data, count, kAnalysisRate, kFrameMs, kOverlapMs)) {
    logMessage("init spectrogram failed.");
    return false;
  }
  if (!generator.makeWorkBuffers()) {
    logMessage("spectrogram run failed");
    return false;
  }
  const bool has_matrix = makeSpectrogram(generator.frames(), generator.bins());
  const float largest = has_matrix ? transformAll() : 0.0f;
  const std::int64_t begin = monotonicNanoseconds();
  if (!has_matrix || !computeLogMagnitude(largest)) {
    logMessage("gen spectrogram mag failed.");
    return false;
  }
  const std::int64_t elapsed = monotonicNanoseconds() - begin;
  logMessage("cvt spectrogram mag to db cost %f seconds.",
             static_cast<double>(elapsed) / 1'000'000'000);
  outcome_ = ExtractionOutcome::kFeatures;
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
  outcome_ = whyNotResampled(count, sampleRate);
  if (!resampler->set(data, count, sampleRate, kAnalysisRate)) {
    logMessage("set resampler failed.");
    return false;
  }
  if (!resampler->process()) {
    logMessage("resampling failed.");
    return false;
  }
  data = resampler->output();
  count = resampler->outputLen();
  return true;
}

/// Memory for the matrix, every cell of which is about to be written: that of the
/// one before where it is enough and not far too much.
bool AudioLandMarkFinderBase::makeSpectrogram(std::uint32_t frames, std::uint32_t bins) {
  bin_num = bins;
  frame_num = frames;
  const auto bytes = matrixBytes(frames, bins, sizeof(float));
  if (bytes && spectrogram && *bytes <= spectrogram_bytes_ && *bytes >= spectrogram_bytes_ / 4) {
    return true;
  }
  spectrogram.reset();
  spectrogram_bytes_ = 0;
  if (bytes) spectrogram = zeroedArray<float>(*bytes);
  if (!spectrogram) {
    logMessage("alloc spectrogram mag failed.");
    return false;
  }
  spectrogram_bytes_ = *bytes;
  return true;
}

/// Fills the matrix with the magnitudes of all frames, each taken while its
/// transform is still in the cache. Returns the largest.
float AudioLandMarkFinderBase::transformAll() noexcept {
  float largest = 0.0f;
  float* row = spectrogram.get();
  for (std::uint32_t t = 0; t < frame_num; ++t, row += bin_num) {
    largest = std::max(largest, magnitudes(sepctrogram_generator->transform(t), bin_num, row));
  }
  return largest;
}

bool AudioLandMarkFinderBase::computeLogMagnitude(float largest) noexcept {
  if (logMagnitudes(spectrogram.get(), std::size_t{frame_num} * bin_num, largest)) return true;
  outcome_ = frame_num == 0 ? ExtractionOutcome::kTooShort : ExtractionOutcome::kSilent;
  return false;
}

}  // namespace audio
