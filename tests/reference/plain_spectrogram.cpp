#include <kiss_fft.h>
#include <libresample.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <complex>
#include <cstdlib>

#include "plain_signal.h"

namespace plain {

// The high-quality filter, for factors from a tenth, rounded to single precision, to ten.
Resampler::Resampler() : handle(resample_open(1, double(0.1f), 10.0), resample_close) {}

// As many samples come out as fit the duration, half a sample rounded up. The whole is one block
// and the last one; what libresample leaves unwritten stays silent. It refuses factors outside
// those that it was opened for.
bool Resampler::convert(std::vector<float>& samples, std::uint32_t rate, Log& log) {
  const double factor = double(kAnalysisRate) / double(rate);
  const double length = double(samples.size()) * factor + 0.5;
  if (length >= 4294967296.0) return fail(log, "set resampler failed.");  // no 32-bit number
  std::vector<float> out(std::uint32_t(length), 0.0f);
  if (out.empty()) {
    say(log, "resample out_len = 0.");
    return fail(log, "set resampler failed.");
  }
  int used = 0;
  const int written = resample_process(handle.get(), factor, samples.data(), int(samples.size()), 1,
                                       &used, out.data(), int(out.size()));
  if (written == -1) return fail(log, "resampling failed.");
  samples = out;
  return true;
}

// The symmetric raised-cosine window: coefficient i is (1 - cos(2 pi i / (size - 1))) / 2.
static std::vector<float> hannWindow(std::uint32_t size) {
  const double two_pi = 6.283185307179586476925286766559;
  std::vector<float> window;
  for (std::uint32_t i = 0; i < size; ++i) {
    const double angle = double(i) * two_pi / double(size - 1);
    window.push_back(float(0.5 * (1.0 - std::cos(angle))));
  }
  return window;
}

// The forward transform of the windowed frame, not divided by its length and without the negative
// frequencies: kBins values.
static std::vector<std::complex<float>> spectrumOf(const std::vector<float>& frame) {
  static const std::vector<float> window = hannWindow(kFrameLen);
  std::vector<kiss_fft_cpx> in(kFrameLen);
  for (std::size_t i = 0; i < kFrameLen; ++i) {
    in[i].r = frame[i] * window[i];
    in[i].i = 0.0f;
  }
  std::vector<kiss_fft_cpx> out(kFrameLen);
  kiss_fft_cfg fft = kiss_fft_alloc(int(kFrameLen), 0, nullptr, nullptr);
  kiss_fft(fft, in.data(), out.data());
  std::free(fft);
  std::vector<std::complex<float>> spectrum;
  for (std::size_t k = 0; k < kBins; ++k) {
    spectrum.emplace_back(out[k].r, out[k].i);
  }
  return spectrum;
}

// The root of re^2 + im^2: squares and sum in single precision, the root in double.
static float magnitude(const std::complex<float>& value) {
  const float re_squared = value.real() * value.real();
  const float im_squared = value.imag() * value.imag();
  return float(std::sqrt(double(re_squared + im_squared)));
}

// The mean in single precision. Each four values in a row are summed from left to right before
// they join the sum, the last one to three join it singly: the grouping shows in the last bits.
static float meanOf(const std::vector<float>& values) {
  const std::size_t grouped = values.size() / 4 * 4;
  float sum = 0.0f;
  for (std::size_t i = 0; i < grouped; i += 4) {
    sum += values[i] + values[i + 1] + values[i + 2] + values[i + 3];
  }
  for (std::size_t i = grouped; i < values.size(); ++i) {
    sum += values[i];
  }
  return sum / float(values.size());
}

// One frame every hop, as long as a whole one lies within the samples. Magnitudes count as at
// least a millionth of the largest one before their logarithms are taken, in double precision.
std::optional<Matrix> logSpectrogram(const std::vector<float>& samples) {
  Matrix matrix;
  matrix.bins = kBins;
  for (std::size_t start = 0; start + kFrameLen <= samples.size(); start += kHop) {
    const auto first = samples.begin() + std::ptrdiff_t(start);
    const std::vector<float> frame(first, first + kFrameLen);
    for (const std::complex<float>& value : spectrumOf(frame)) {
      matrix.values.push_back(magnitude(value));
    }
    ++matrix.frames;
  }
  float largest = 0.0f;
  for (const float value : matrix.values) {
    largest = std::max(largest, value);
  }
  if (largest < FLT_EPSILON) return std::nullopt;

  const float floor = largest / 1000000.0f;
  for (float& value : matrix.values) {
    value = float(std::log(double(std::max(value, floor))));
  }
  const float mean = meanOf(matrix.values);
  for (float& value : matrix.values) {
    value -= mean;
  }
  return matrix;
}

}  // namespace plain
