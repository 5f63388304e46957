#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <random>

#include "dsp/spectrogram_generator.h"
#include "dsp/window_function.h"
#include "support/log_capture.h"

namespace {

using audio::SpectrogramGenerator;
using testing_support::LogCapture;
using Messages = std::vector<std::string>;

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

TEST(SpectrogramGeneratorTest, WhatItKeepsFollowsTheFrameLength) {
  std::vector<float> samples(4000);
  std::minstd_rand random(1);
  for (float& sample : samples) sample = static_cast<float>(random() % 2001) / 1000.0f - 1.0f;
  struct Block {
    std::uint32_t length, rate, win_ms, overlap_ms;
  };
  SpectrogramGenerator kept;
  for (const Block& block :
       {Block{4000, 8000, 64, 32}, Block{3000, 8000, 64, 32}, Block{4000, 8000, 64, 16},
        Block{4000, 8000, 32, 16}, Block{2000, 16000, 16, 8}, Block{4000, 8000, 32, 32},
        Block{4000, 8000, 32, 16}, Block{4000, 4000, 64, 32}}) {
    SpectrogramGenerator fresh;
    const bool framed =
        fresh.init(samples.data(), block.length, block.rate, block.win_ms, block.overlap_ms);
    ASSERT_EQ(
        kept.prepare(samples.data(), block.length, block.rate, block.win_ms, block.overlap_ms),
        framed);
    EXPECT_EQ(kept.spectrum(), nullptr);
    ASSERT_EQ(kept.makeWorkBuffers(), framed);
    if (!framed) continue;
    ASSERT_TRUE(fresh.run());
    ASSERT_EQ(kept.frames(), fresh.frames());
    ASSERT_EQ(kept.bins(), fresh.bins());
    // Back to front: a frame doesn't depend on the one before.
    for (std::uint32_t t = kept.frames(); t-- > 0;) {
      ASSERT_EQ(std::memcmp(kept.transform(t), fresh.spectrum() + std::size_t{t} * fresh.bins(),
                            fresh.bins() * sizeof(std::complex<float>)),
                0);
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
  std::complex<float> out[512] = {};
  ASSERT_TRUE(generator.init(samples.data(), 2000, 8000, 64, 32));
  EXPECT_TRUE(generator.applyWindow(samples.data(), 512, out));
  EXPECT_FALSE(generator.applyWindow(nullptr, 512, out));
  EXPECT_FALSE(generator.applyWindow(samples.data(), 512, nullptr));
  EXPECT_FALSE(generator.applyWindow(samples.data(), 511, out));
  EXPECT_FALSE(SpectrogramGenerator().applyWindow(samples.data(), 512, out));
  ASSERT_TRUE(generator.init(samples.data(), 2000, 1000, 5, 2));  // odd length
  EXPECT_EQ(generator.bins(), 3u);
  EXPECT_TRUE(generator.run());
  EXPECT_EQ(capture.messages(), Messages{"input data is NULL"});
}

}  // namespace
