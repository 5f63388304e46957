#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/memory.h"
#include "dsp/window_function.h"

struct kiss_fft_state;

namespace audio {

/// Cuts a block of mono samples into overlapping frames, weights each with a
/// Hann window, transforms it with an FFT of the frame's own length and keeps
/// the bins of non-negative frequency.
///
/// Methods that aren't noexcept throw std::bad_alloc when memory for a list is
/// short; the object stays usable.
///
/// For every block either `init`, then `run`, for a matrix of all frames; or
/// `prepare`, then `transform` frame by frame, for somebody who is done with a
/// frame before the next. The matrix has `frames` rows of `bins` complex values:
/// frame t covers the samples from t × hop up to t × hop + frame length, bin k
/// stands for k × sample rate / frame length Hz. Values are unscaled kissfft
/// output. Window, transform and work buffers are kept for as long as blocks have
/// the same frame length. One thread at a time.
class SpectrogramGenerator {
 public:
  SpectrogramGenerator() noexcept = default;
  ~SpectrogramGenerator();
  SpectrogramGenerator(const SpectrogramGenerator&) = delete;
  SpectrogramGenerator& operator=(const SpectrogramGenerator&) = delete;

  /// Frames that lie wholly inside `dataLen` samples: a tail shorter than a hop
  /// isn't analysed. The overlap, in samples, is below the frame length.
  static constexpr std::uint64_t frameCount(std::uint64_t dataLen, std::uint32_t winLen,
                                            std::uint32_t overlapLen) noexcept {
    return dataLen < overlapLen ? 0 : (dataLen - overlapLen) / (winLen - overlapLen);
  }

  /// Prepares one block; the matrix of the one before is released.
  ///
  /// Null data is refused with a message and changes nothing. Fails, with a
  /// message, when there is no memory for window or transform; without one when
  /// the overlap isn't below the frame length. Nothing is prepared then.
  ///
  /// @param data        samples, kept alive by the caller until `run` returned
  /// @param dataLen     their number
  /// @param sampleRate  Hz
  /// @param winMs       frame length in milliseconds
  /// @param overlapMs   overlap of successive frames in milliseconds
  bool prepare(const float* data, std::uint32_t dataLen, std::uint32_t sampleRate,
               std::uint32_t winMs, std::uint32_t overlapMs);

  /// The same with a zeroed matrix for the block. Fails also, without a message,
  /// when that can't be allocated.
  bool init(const float* data, std::uint32_t dataLen, std::uint32_t sampleRate, std::uint32_t winMs,
            std::uint32_t overlapMs);

  /// Makes the work buffers that `transform` needs. False, without a message,
  /// when nothing is prepared, with a zero overlap, or when memory is short.
  bool makeWorkBuffers() noexcept;

  /// The `bins` values of frame `t`, below `frames`, valid until the next call;
  /// after a `makeWorkBuffers` that succeeded.
  const std::complex<float>* transform(std::uint32_t t) noexcept;

  /// Computes every frame into the matrix. False, without a message, before a
  /// complete `init` and when the work buffers can't be made.
  bool run() noexcept;

  /// Weights the `n` samples of `frame` into the real parts of `out`, the
  /// imaginary parts being 0. False, writing nothing, when a pointer is null
  /// or the window hasn't exactly `n` coefficients.
  bool applyWindow(const float* frame, std::uint32_t n, std::complex<float>* out) const noexcept;

  /// The matrix, owned by the generator, valid until the next block; null
  /// without an `init`.
  const std::complex<float>* spectrum() const noexcept { return spectrum_.get(); }
  std::uint32_t bins() const noexcept { return bins_; }
  std::uint32_t frames() const noexcept { return frames_; }

 private:
  bool setFrameLengths(std::uint32_t sampleRate, std::uint32_t winMs, std::uint32_t overlapMs);
  bool createWindow();
  bool createFft() noexcept;
  bool createSpectrum() noexcept;
  void releaseAll() noexcept;
  void releaseFrameTools() noexcept;
  void releaseSpectrum() noexcept;

  const float* data_ = nullptr;
  std::uint32_t data_len_ = 0;
  std::uint32_t sample_rate_ = 0;
  std::unique_ptr<WindowFunction> window_;
  std::unique_ptr<kiss_fft_state, FreeDeleter> fft_;
  CArray<std::complex<float>> spectrum_;
  CArray<std::complex<float>> frame_;        // the weighted samples of one frame
  CArray<std::complex<float>> transformed_;  // and its transform; made together
  std::uint32_t bins_ = 0;
  std::uint32_t frames_ = 0;
  std::uint32_t win_len_ = 0;
  std::uint32_t overlap_len_ = 0;
};

}  // namespace audio
