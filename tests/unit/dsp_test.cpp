#include <gtest/gtest.h>

#include <cmath>
#include <complex>

#include "dsp/resampler.h"
#include "dsp/spectrogram_generator.h"
#include "dsp/window_function.h"
#include "support/log_capture.h"

namespace {

using audio::Resampler;
using audio::SpectrogramGenerator;
using testing_support::LogCapture;
using Messages = std::vector<std::string>;

TEST(ResamplerTest, OutputLengthsRoundHalfUp) {
  Resampler resampler;
  const std::vector<float> input(44100);
  const auto length = [&](std::uint32_t samples, std::uint32_t rate) {
    return resampler.set(input.data(), samples, rate, 8000) ? resampler.outputLen() : 0;
  };
  EXPECT_EQ(length(44100, 44100), 8000u);
  EXPECT_EQ(length(22050, 44100), 4000u);
  EXPECT_EQ(length(3, 44100), 1u);
  EXPECT_EQ(length(11, 16000), 6u);
  LogCapture capture;
  EXPECT_EQ(length(2, 44100), 0u);
  EXPECT_EQ(resampler.output(), nullptr);
  EXPECT_FALSE(resampler.set(nullptr, 1, 44100, 8000));
  EXPECT_EQ(capture.messages(), (Messages{"resample out_len = 0.", "input a NULL."}));
}

TEST(ResamplerTest, ProcessNeedsAllItsParts) {
  Resampler resampler;
  std::vector<float> input(1000, 0.5f);
  EXPECT_FALSE(resampler.process());
  ASSERT_TRUE(resampler.set(input.data(), 1000, 8000, 8000));
  EXPECT_FALSE(resampler.process());  // no handle
  EXPECT_FALSE(resampler.open(1, 2.0f, 1.0f));
  ASSERT_TRUE(resampler.open(1, 0.1f, 10.0f));
  ASSERT_TRUE(resampler.process());
  EXPECT_TRUE(std::equal(input.begin(), input.end(), resampler.output()));
  EXPECT_FALSE(resampler.set(nullptr, 1, 1, 1));
  EXPECT_TRUE(resampler.process());  // what was prepared is still there
  EXPECT_FALSE(resampler.set(input.data(), 1, 44100, 8000));
  EXPECT_FALSE(resampler.process());
}

TEST(ResamplerTest, FactorsOutsideTheBoundsFail) {
  Resampler resampler;
  const std::vector<float> input(4000, 0.5f);
  ASSERT_TRUE(resampler.open(1, 0.1f, 10.0f));
  for (const auto& [rate, works] : std::vector<std::pair<std::uint32_t, bool>>{
           {799, false}, {800, true}, {79999, true}, {80000, false}}) {
    ASSERT_TRUE(resampler.set(input.data(), 4000, rate, 8000));
    EXPECT_EQ(resampler.process(), works) << rate;
  }
}

TEST(ResamplerTest, CarriesTheEndOfABlockIntoTheNext) {
  const std::vector<float> loud(2000, 0.9f);
  const std::vector<float> quiet(2000, 0.0f);
  Resampler resampler;
  ASSERT_TRUE(resampler.open(1, 0.1f, 10.0f));
  const auto peak = [&](const std::vector<float>& input) {
    EXPECT_TRUE(resampler.set(input.data(), 2000, 16000, 8000) && resampler.process());
    float largest = 0.0f;
    for (std::uint32_t i = 0; i < resampler.outputLen(); ++i) {
      largest = std::max(largest, std::fabs(resampler.output()[i]));
    }
    return largest;
  };
  EXPECT_EQ(peak(quiet), 0.0f);
  EXPECT_GT(peak(loud), 0.8f);
  EXPECT_GT(peak(quiet), 0.1f);
  ASSERT_TRUE(resampler.open(1, 0.1f, 10.0f));
  EXPECT_EQ(peak(quiet), 0.0f);
}

TEST(HannWindowTest, IsSymmetricAndEndsAtZero) {
  audio::HannWindow window;
  LogCapture capture;
  window.generate(0);
  EXPECT_EQ(window.data(), nullptr);
  window.generate(512);
  EXPECT_EQ(window.data()[0], 0.0f);
  double sum = 0.0;
  for (std::uint32_t i = 0; i < 512; ++i) {
    EXPECT_NEAR(window.data()[i], window.data()[511 - i], 1e-7f);
    sum += window.data()[i];
  }
  EXPECT_NEAR(sum, 255.5, 1e-4);
  window.generate(1);
  EXPECT_TRUE(std::isfinite(window.data()[0]));
  EXPECT_EQ(capture.messages(), Messages{"invalid window size = 0."});
}

TEST(SpectrogramGeneratorTest, CountsFramesThatLieInside) {
  SpectrogramGenerator generator;
  const std::vector<float> samples(8000, 1.0f);
  for (const auto& [length, frames] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
           {1, 0}, {255, 0}, {256, 0}, {511, 0}, {512, 1}, {767, 1}, {768, 2}, {8000, 30}}) {
    ASSERT_TRUE(generator.init(samples.data(), length, 8000, 64, 32)) << length;
    EXPECT_EQ(generator.frames(), frames) << length;
    EXPECT_EQ(generator.bins(), 257u);
    EXPECT_TRUE(generator.run());
  }
  for (std::uint32_t t = 0; t < 30; ++t) {
    EXPECT_NEAR(generator.spectrum()[t * 257].real(), 255.5f, 1e-3f);
    EXPECT_EQ(generator.spectrum()[t * 257].imag(), 0.0f);
  }
}

TEST(SpectrogramGeneratorTest, TransformsEachFrameOnItsOwn) {
  // A quarter of a second of noise against the definition of the transform.
  std::vector<float> samples(2000);
  std::uint32_t state = 1;
  for (float& sample : samples) {
    state = state * 1664525 + 1013904223;
    sample = static_cast<float>(state >> 16) / 65536.0f - 0.5f;
  }
  SpectrogramGenerator generator;
  ASSERT_TRUE(generator.init(samples.data(), 2000, 8000, 32, 16) && generator.run());
  ASSERT_EQ(generator.bins(), 129u);
  ASSERT_EQ(generator.frames(), (2000u - 128u) / 128u);
  for (const std::uint32_t t : {0u, 7u, generator.frames() - 1}) {
    for (std::uint32_t k = 0; k < 129; ++k) {
      std::complex<double> sum = 0.0;
      for (std::uint32_t i = 0; i < 256; ++i) {
        const double weight = 0.5 - 0.5 * std::cos(2.0 * M_PI * i / 255.0);
        sum += static_cast<double>(samples[t * 128 + i]) * weight *
               std::polar(1.0, -2.0 * M_PI * k * i / 256.0);
      }
      ASSERT_NEAR(generator.spectrum()[t * 129 + k].real(), sum.real(), 1e-4);
      ASSERT_NEAR(generator.spectrum()[t * 129 + k].imag(), sum.imag(), 1e-4);
    }
  }
}

TEST(SpectrogramGeneratorTest, RefusesWhatItCantFrame) {
  SpectrogramGenerator generator;
  const std::vector<float> samples(2000);
  LogCapture capture;
  EXPECT_FALSE(generator.run());
  EXPECT_FALSE(generator.init(nullptr, 2000, 8000, 64, 32));
  EXPECT_FALSE(generator.init(samples.data(), 2000, 8000, 32, 32));
  EXPECT_FALSE(generator.init(samples.data(), 2000, 8000, 32, 64));
  EXPECT_FALSE(generator.init(samples.data(), 2000, UINT32_MAX, UINT32_MAX, 1));
  EXPECT_FALSE(generator.run());
  ASSERT_TRUE(generator.init(samples.data(), 2000, 8000, 64, 0));
  EXPECT_FALSE(generator.run());
  ASSERT_TRUE(generator.init(samples.data(), 2000, 1000, 5, 2));  // odd length
  EXPECT_EQ(generator.bins(), 3u);
  EXPECT_TRUE(generator.run());
  EXPECT_EQ(capture.messages(), Messages{"input data is NULL"});
}

}  // namespace
