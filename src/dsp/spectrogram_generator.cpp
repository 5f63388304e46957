#include "dsp/spectrogram_generator.h"

#include <kiss_fft.h>

#include <algorithm>
#include <climits>
#include <new>

#include "base/logger.h"
#include "base/memory.h"

namespace audio {
namespace {

using Bin = std::complex<float>;

// Both are a real part followed by an imaginary one, so nobody else has to know
// the transform's own type. kissfft is compiled apart from this file, so that no
// compiler sees memory under both types.
static_assert(sizeof(kiss_fft_cpx) == sizeof(Bin) && alignof(kiss_fft_cpx) <= alignof(Bin));
kiss_fft_cpx* asKiss(Bin* values) noexcept { return reinterpret_cast<kiss_fft_cpx*>(values); }

/// A duration in samples, halves rounded up; INT_MAX + 1 for anything that
/// the FFT's int length can't hold.
std::uint32_t samplesOf(std::uint32_t sampleRate, std::uint32_t milliseconds) noexcept {
  constexpr double kTooLong = static_cast<double>(INT_MAX) + 1.0;
  const double samples =
      static_cast<double>(sampleRate) / 1000.0 * static_cast<double>(milliseconds) + 0.5;
  return static_cast<std::uint32_t>(std::min(samples, kTooLong));
}

}  // namespace

SpectrogramGenerator::~SpectrogramGenerator() { releaseAll(); }

bool SpectrogramGenerator::prepare(const float* data, std::uint32_t dataLen,
                                   std::uint32_t sampleRate, std::uint32_t winMs,
                                   std::uint32_t overlapMs) {
  if (!data) {
    logMessage("input data is NULL");
    return false;
  }
  releaseSpectrum();
  data_ = data;
  data_len_ = dataLen;
  sample_rate_ = sampleRate;
  if (!setFrameLengths(sampleRate, winMs, overlapMs) || !createWindow() || !createFft()) {
    releaseAll();
    return false;
  }
  bins_ = win_len_ % 2 == 0 ? win_len_ / 2 + 1 : (win_len_ + 1) / 2;
  frames_ = static_cast<std::uint32_t>(frameCount(data_len_, win_len_, overlap_len_));
  return true;
}

bool SpectrogramGenerator::init(const float* data, std::uint32_t dataLen, std::uint32_t sampleRate,
                                std::uint32_t winMs, std::uint32_t overlapMs) {
  return prepare(data, dataLen, sampleRate, winMs, overlapMs) && createSpectrum();
}

bool SpectrogramGenerator::setFrameLengths(std::uint32_t sampleRate, std::uint32_t winMs,
                                           std::uint32_t overlapMs) {
  const std::uint32_t before = win_len_;
  win_len_ = samplesOf(sampleRate, winMs);
  overlap_len_ = samplesOf(sampleRate, overlapMs);
  if (win_len_ != before) releaseFrameTools();
  return win_len_ <= INT_MAX && overlap_len_ < win_len_;
}

bool SpectrogramGenerator::createWindow() {
  if (window_ && window_->size() == win_len_) return true;
  window_.reset(new (std::nothrow) HannWindow);
  if (!window_) {
    logMessage("gen hamming window error.");
    return false;
  }
  window_->generate(win_len_);
  return true;
}

bool SpectrogramGenerator::createFft() noexcept {
  if (fft_) return true;
  fft_.reset(kiss_fft_alloc(static_cast<int>(win_len_), 0, nullptr, nullptr));
  if (!fft_) {
    logMessage("kiss fft instance alloc failed.");
    return false;
  }
  return true;
}

bool SpectrogramGenerator::createSpectrum() noexcept {
  if (const auto bytes = matrixBytes(frames_, bins_, sizeof(Bin))) {
    spectrum_ = zeroedArray<Bin>(*bytes);
  }
  return spectrum_ != nullptr;
}

bool SpectrogramGenerator::applyWindow(const float* frame, std::uint32_t n,
                                       Bin* out) const noexcept {
  if (!frame || !out || !window_ || window_->size() != n) return false;
  const float* coefficients = window_->data();
  for (std::uint32_t i = 0; i < n; ++i) {
    out[i] = {frame[i] * coefficients[i], 0.0f};
  }
  return true;
}

bool SpectrogramGenerator::makeWorkBuffers() noexcept {
  if (!data_ || win_len_ == 0 || overlap_len_ == 0 || !fft_ || !window_) return false;
  if (frame_ && transformed_) return true;
  const auto bytes = matrixBytes(1, win_len_, sizeof(Bin));
  if (!bytes) return false;
  frame_ = zeroedArray<Bin>(*bytes);
  transformed_ = zeroedArray<Bin>(*bytes);
  return frame_ && transformed_;
}

const Bin* SpectrogramGenerator::transform(std::uint32_t t) noexcept {
  const std::size_t hop = win_len_ - overlap_len_;
  applyWindow(data_ + t * hop, win_len_, frame_.get());
  kiss_fft(fft_.get(), asKiss(frame_.get()), asKiss(transformed_.get()));
  return transformed_.get();
}

bool SpectrogramGenerator::run() noexcept {
  if (!spectrum_ || !makeWorkBuffers()) return false;
  Bin* row = spectrum_.get();
  for (std::uint32_t t = 0; t < frames_; ++t, row += bins_) std::copy_n(transform(t), bins_, row);
  return true;
}

void SpectrogramGenerator::releaseAll() noexcept {
  releaseFrameTools();
  releaseSpectrum();
}

/// What depends on the frame length.
void SpectrogramGenerator::releaseFrameTools() noexcept {
  fft_.reset();
  window_.reset();
  frame_.reset();
  transformed_.reset();
}

void SpectrogramGenerator::releaseSpectrum() noexcept {
  spectrum_.reset();
  bins_ = 0;
  frames_ = 0;
}

}  // namespace audio
