// The resampler by what a signal has to be behind it. The plain reference calls
// the same library and would share a wrong use of it; a sine doesn't.

#include "dsp/resampler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

#include "support/log_capture.h"

namespace {

using audio::Resampler;
using testing_support::LogCapture;
using Messages = std::vector<std::string>;
using Samples = std::vector<float>;

constexpr double kAmplitude = 0.5;
constexpr double kPhase = 0.3;

/// One of libresample's two low-passes. Frequencies are shares of the lower
/// rate's Nyquist frequency, lengths are samples at the lower rate. Both turn
/// at 0.9; the short one is a sinc of 11 zero crossings against 35, so that its
/// slope is three times as wide: it bends earlier and reaches its floor later.
struct Filter {
  const char* name;
  int highQuality;
  int reach;            // an input sample is heard less than this far on either side
  double gainAt70;      // dB, where the short one has begun to bend
  double stop;          // from here on nothing is let through
  double floorDecibel;  // what a tone leaves beside itself, or beyond `stop`
};
const Filter kShort{"Short", 0, 6, -0.885, 1.3, -55.0};
const Filter kLong{"Long", 1, 18, 0.0, 1.1, -62.0};

std::ostream& operator<<(std::ostream& out, const Filter& filter) { return out << filter.name; }

struct Rates {
  std::uint32_t source;
  std::uint32_t target;

  double factor() const { return static_cast<double>(target) / source; }
  double low() const { return std::min(source, target); }
  /// Output samples per sample at the lower rate, at least one.
  double stretch() const { return std::max(1.0, factor()); }
};
std::ostream& operator<<(std::ostream& out, const Rates& rates) {
  return out << rates.source << " Hz to " << rates.target << " Hz";
}

/// Every pair of eleven rates inside the engine's bounds.
std::vector<Rates> ratePairs() {
  std::vector<Rates> pairs;
  const auto rates = {800u,   1237u,  4000u,  7999u,  8000u, 11025u,
                      16000u, 22050u, 44056u, 48000u, 79999u};
  for (const std::uint32_t source : rates) {
    for (const std::uint32_t target : rates) {
      const double factor = static_cast<double>(target) / source;
      if (source != target && factor > 0.1 && factor <= 10.0) pairs.push_back({source, target});
    }
  }
  return pairs;
}

float sineAt(double frequency, std::uint32_t rate, std::size_t i) {
  const double angle = 2.0 * M_PI * frequency * static_cast<double>(i) / rate + kPhase;
  return static_cast<float>(kAmplitude * std::sin(angle));
}

Samples next(Resampler& resampler, const Samples& input, const Rates& rates) {
  const auto length = static_cast<std::uint32_t>(input.size());
  if (!resampler.set(input.data(), length, rates.source, rates.target) || !resampler.process()) {
    ADD_FAILURE() << rates << ": no output";
    return Samples(length);
  }
  return Samples(resampler.output(), resampler.output() + resampler.outputLen());
}

/// The block through a handle of its own.
Samples convert(const Filter& filter, const Samples& input, const Rates& rates) {
  Resampler resampler;
  EXPECT_TRUE(resampler.open(filter.highQuality, 0.1f, 10.0f));
  return next(resampler, input, rates);
}

double decibel(double amplitude) { return 20.0 * std::log10(amplitude / kAmplitude); }

/// What comes out of a sine, away from the silence around the block.
struct Tone {
  double gain;      // dB of the sine of that frequency, or of the alias that stands for it
  double rest;      // dB of everything else
  double delay;     // samples at the lower rate
  double click;     // largest |y[i-1] - 2 cos(w) y[i] + y[i+1]|, zero for a sine
  double crossing;  // Hz by the zero crossings
};

Tone resampledTone(const Filter& filter, const Rates& rates, double frequency) {
  Samples input(static_cast<std::size_t>(400.0 * rates.source / rates.low()));
  for (std::size_t i = 0; i < input.size(); ++i) input[i] = sineAt(frequency, rates.source, i);
  const Samples output = convert(filter, input, rates);
  const double w = 2.0 * M_PI * frequency / rates.target;
  const auto edge = static_cast<std::size_t>(filter.reach * rates.stretch()) + 2;
  const std::size_t end = output.size() - edge;
  double cc = 0, ss = 0, cs = 0, yc = 0, ys = 0, click = 0, first = 0, last = 0;
  double crossings = -1;
  for (std::size_t i = edge; i < end; ++i) {
    const double angle = w * static_cast<double>(i), y = output[i], before = output[i - 1];
    const double c = std::cos(angle), s = std::sin(angle);
    cc += c * c, ss += s * s, cs += c * s, yc += y * c, ys += y * s;
    click = std::max(click, std::fabs(before - 2.0 * std::cos(w) * y + output[i + 1]));
    if (before < 0.0 && y >= 0.0) {
      last = static_cast<double>(i) - y / (y - before);
      if (++crossings == 0.0) first = last;
    }
  }
  const double det = cc * ss - cs * cs;
  const double a = (yc * ss - ys * cs) / det, b = (ys * cc - yc * cs) / det;
  double rest = 0.0;
  for (std::size_t i = edge; i < end; ++i) {
    const double angle = w * static_cast<double>(i);
    rest += std::pow(output[i] - a * std::cos(angle) - b * std::sin(angle), 2);
  }
  return {decibel(std::hypot(a, b)),
          decibel(std::sqrt(2.0 * rest / static_cast<double>(end - edge))),
          (kPhase - std::atan2(a, b)) / (2.0 * M_PI * frequency) * rates.low(), click,
          crossings * rates.target / (last - first)};
}

class ResampledSignal : public testing::TestWithParam<Filter> {};
INSTANTIATE_TEST_SUITE_P(Filters, ResampledSignal, testing::Values(kShort, kLong),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(ResampledSignal, SineStaysThatSine) {
  const Filter& filter = GetParam();
  for (const Rates& rates : ratePairs()) {
    for (const double share : {0.03, 0.29, 0.5, 0.7}) {
      SCOPED_TRACE(testing::Message() << rates << " at " << share);
      const double frequency = share * rates.low() / 2.0;
      const Tone tone = resampledTone(filter, rates, frequency);
      EXPECT_NEAR(tone.gain, share < 0.7 ? 0.0 : filter.gainAt70, 0.02);
      EXPECT_LT(tone.rest, filter.floorDecibel);
      EXPECT_NEAR(tone.delay, 0.0, 0.02);
      EXPECT_LT(tone.click, 0.01 * kAmplitude);
      // Straight lines between few samples a period cross zero elsewhere.
      if (share < 0.3) {
        EXPECT_NEAR(tone.crossing / frequency, 1.0, 5e-4);
      }
    }
  }
}

TEST_P(ResampledSignal, NothingAppearsThatTheTargetOrTheSourceCantHold) {
  const Filter& filter = GetParam();
  for (const Rates& rates : ratePairs()) {
    SCOPED_TRACE(testing::Message() << rates);
    const double nyquist = rates.low() / 2.0;
    if (rates.factor() > 1.0) {
      // The nearest image mirrors its tone at the source's Nyquist frequency.
      const Tone tone = resampledTone(filter, rates, (2.0 - filter.stop) * nyquist);
      EXPECT_LT(tone.rest, filter.floorDecibel);
      continue;
    }
    for (const double share : {filter.stop, 1.43, 1.9, 2.6, 5.1}) {
      if (share * nyquist > 0.98 * rates.source / 2.0) break;
      const Tone tone = resampledTone(filter, rates, share * nyquist);
      EXPECT_LT(tone.gain, filter.floorDecibel) << share;
      EXPECT_LT(tone.rest, filter.floorDecibel) << share;
    }
  }
}

TEST_P(ResampledSignal, ImpulseComesOutInItsPlace) {
  const Filter& filter = GetParam();
  for (const Rates& rates : ratePairs()) {
    SCOPED_TRACE(testing::Message() << rates);
    const auto length = static_cast<std::size_t>(100.0 * rates.source / rates.low()) + 1;
    const double outputs = std::floor(static_cast<double>(length) * rates.factor() + 0.5);
    const auto last = static_cast<std::size_t>((outputs - 1.0) / rates.factor() + 0.5);
    for (const std::size_t at : {std::size_t{0}, length / 2, std::min(last, length - 1)}) {
      Samples input(length);
      input[at] = 1.0f;
      const Samples output = convert(filter, input, rates);
      const double place = static_cast<double>(at) * rates.factor();
      const double reach = filter.reach * rates.stretch();
      double loudest = 0.0, peak = 0.0;
      for (std::size_t i = 0; i < output.size(); ++i) {
        const double y = output[i], away = static_cast<double>(i) - place;
        if (y > loudest) loudest = y, peak = away;
        if (std::fabs(away) > reach) {
          EXPECT_EQ(y, 0.0) << away;
        }
      }
      EXPECT_LE(std::fabs(peak), 0.51) << at;
      EXPECT_GT(loudest, 0.6 * rates.factor() / rates.stretch()) << at;
    }
  }
}

TEST_P(ResampledSignal, OutputIsAsLongAsItsInputAndFull) {
  for (const Rates& rates : ratePairs()) {
    const auto block = static_cast<std::uint64_t>(60.0 * rates.source / rates.low());
    for (std::uint64_t length = block; length < block + 5; ++length) {
      SCOPED_TRACE(testing::Message() << length << " samples, " << rates);
      const Samples output = convert(GetParam(), Samples(length, 1.0f), rates);
      EXPECT_EQ(output.size(), (2 * length * rates.target + rates.source) / (2 * rates.source));
      // The silence behind the block pulls its last samples down, not to zero.
      const auto [low, high] = std::minmax_element(output.begin(), output.end());
      EXPECT_GT(*low, 0.05f);
      EXPECT_LT(*high, 1.2f);
    }
  }
}

TEST_P(ResampledSignal, BlocksOfASineContinueEachOther) {
  const Filter& filter = GetParam();
  for (const Rates& rates : ratePairs()) {
    SCOPED_TRACE(testing::Message() << rates);
    // Blocks that fill a whole number of output samples.
    const std::size_t period = rates.source / std::gcd(rates.source, rates.target);
    const std::size_t length = period * (1 + 3000 / period);
    if (length > 8000) continue;
    Resampler resampler;
    ASSERT_TRUE(resampler.open(filter.highQuality, 0.1f, 10.0f));
    const double frequency = 0.171 * rates.low() / 2.0;
    const auto reach = static_cast<std::size_t>(filter.reach * rates.stretch()) + 1;
    const double tolerance = 4.0 * kAmplitude * std::pow(10.0, filter.floorDecibel / 20.0);
    std::size_t read = 0, written = 0;
    for (std::size_t block = 0; block < 4; ++block) {
      Samples input(length);
      for (float& sample : input) sample = sineAt(frequency, rates.source, read++);
      const Samples output = next(resampler, input, rates);
      // Each block is handed over as the last one: its end sounds as if silence followed, and
      // what it made too much of, about a sample's time at the lower rate, opens the next block.
      // All between is exact.
      const auto carried = static_cast<std::size_t>(rates.stretch()) + 1;
      const std::size_t first = block == 0 ? reach : carried;
      for (std::size_t i = 0; i < output.size(); ++i, ++written) {
        if (i >= first && i < output.size() - reach) {
          ASSERT_NEAR(output[i], sineAt(frequency, rates.target, written), tolerance) << i;
        }
        ASSERT_LT(std::fabs(output[i]), 1.15 * kAmplitude) << i;
      }
    }
  }
}

TEST(ResamplerTest, FreshHandleStartsFromSilence) {
  const Samples loud(2000, 0.9f), quiet(2000);
  Resampler resampler;
  const auto energy = [&](const Samples& input) {
    const Samples output = next(resampler, input, {16000, 8000});
    return std::inner_product(output.begin(), output.end(), output.begin(), 0.0);
  };
  ASSERT_TRUE(resampler.open(1, 0.1f, 10.0f));
  EXPECT_EQ(energy(quiet), 0.0);
  EXPECT_NEAR(energy(loud), 810.0, 8.1);
  EXPECT_GT(energy(quiet), 0.01);  // the end of the block before
  ASSERT_TRUE(resampler.open(1, 0.1f, 10.0f));
  EXPECT_EQ(energy(quiet), 0.0);
}

TEST(ResamplerTest, SampleThatIsNotThereYetIsSilence) {
  // 725.62 output samples a block, rounded up: after three the converter lags by one.
  const Samples input(1000, 1.0f);
  Resampler resampler;
  ASSERT_TRUE(resampler.open(1, 0.1f, 10.0f));
  for (const bool full : {true, true, false}) {
    const Samples output = next(resampler, input, {11025, 8000});
    ASSERT_EQ(output.size(), 726u);
    EXPECT_GT(output[724], 0.1f);
    EXPECT_EQ(output[725] == 0.0f, !full);
  }
}

TEST(ResamplerTest, OutputLengthsRoundHalfUp) {
  Resampler resampler;
  const Samples input(11);
  const auto length = [&](std::uint32_t samples, std::uint32_t rate) {
    return resampler.set(input.data(), samples, rate, 8000) ? resampler.outputLen() : 0;
  };
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
  Samples input(1000, 0.5f);
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

}  // namespace
