/// From PCM to the log-magnitude spectrogram.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "plain_log.h"

namespace plain {

/// The rate at which recordings are analysed, in Hz.
constexpr std::uint32_t kAnalysisRate = 8000;
/// Samples of one frame at the analysis rate: 64 ms. Also the size of the Fourier transform.
constexpr std::uint32_t kFrameLen = 512;
/// Samples from the start of one frame to the start of the next: 32 ms.
constexpr std::uint32_t kHop = 256;
/// Frequencies kept of every frame: bin k is k * 15.625 Hz, from 0 to 4000 Hz.
constexpr std::uint32_t kBins = 257;

/// A recording.
struct Audio {
  /// In Hz; 0 only in an audio without rows.
  std::uint32_t rate = 0;
  /// One row of samples per channel, all of the same length.
  std::vector<std::vector<float>> rows;

  std::uint32_t channels() const { return std::uint32_t(rows.size()); }
  /// Samples per channel.
  std::uint32_t len() const { return rows.empty() ? 0 : std::uint32_t(rows[0].size()); }
};

/// Makes `audio` silence of the given shape. A zero among the numbers is refused with a message,
/// and `audio` stays as it was.
bool shapeAudio(Audio& audio, std::uint32_t channels, std::uint32_t rate, std::uint32_t len,
                Log& log);

/// The recording of channels * len samples, interleaved by channel; no rows if the shape is
/// refused.
Audio fromPcm(const std::int16_t* interleaved, std::uint32_t channels, std::uint32_t len,
              std::uint32_t rate, Log& log);

/// The mean of the channels, as a recording of one channel. At least one channel is needed.
Audio mixToMono(const Audio& audio);

/// Converts recordings to the analysis rate.
struct Resampler {
  Resampler();
  /// Brings samples of that rate to the analysis rate; false, after a message, if none would come
  /// out or the rate is out of reach.
  bool convert(std::vector<float>& samples, std::uint32_t rate, Log& log);

  /// libresample's converter. Opened once for the resampler's life: its filter history and the
  /// samples for which a block had no room carry over into the next block and the next recording.
  std::unique_ptr<void, void (*)(void*)> handle;
};

/// Values over time and frequency.
struct Matrix {
  /// Number of frames.
  std::uint32_t frames = 0;
  /// Number of bins in every frame.
  std::uint32_t bins = 0;
  /// Frame after frame: frame t, bin f stands at t * bins + f.
  std::vector<float> values;

  float at(std::int64_t t, std::int64_t f) const { return values[std::size_t(t * bins + f)]; }
};

/// The spectrogram of samples at the analysis rate, kBins wide: natural logarithms of the
/// magnitudes, less their mean. Nothing for what is silent or shorter than one frame.
std::optional<Matrix> logSpectrogram(const std::vector<float>& samples);

}  // namespace plain
