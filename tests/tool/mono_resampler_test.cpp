// Sounds as they are brought to what is analysed, against sines that are computed.

#include "tool/input/mono_resampler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>

#include "tests/tool/tool_files.h"
#include "tool/input/recording_parts.h"

namespace {

using audiomatch::MonoResampler;
using Samples = std::vector<std::int16_t>;

/// What a channel has at a time, in 16-bit steps.
using Shape = std::function<double(std::uint32_t channel, double second)>;

class Signal : public audiomatch::SoundSource {
 public:
  Signal(std::uint32_t rate, std::uint32_t channels, std::uint64_t frames, Shape shape)
      : rate_(rate), channels_(channels), frames_(frames), shape_(std::move(shape)) {}

  std::uint32_t sampleRate() const noexcept override { return rate_; }
  std::uint32_t channels() const noexcept override { return channels_; }
  std::uint64_t promisedFrames() const noexcept override { return frames_; }
  std::uint64_t position() const noexcept override { return position_; }
  const std::optional<audiomatch::Damage>& damage() const noexcept override { return damage_; }
  std::size_t read(Samples& samples, std::size_t frames) override {
    const std::uint64_t end = std::min<std::uint64_t>(position_ + frames, frames_);
    const auto came = static_cast<std::size_t>(end - position_);
    for (; position_ < end; ++position_) {
      const double second = static_cast<double>(position_) / rate_;
      for (std::uint32_t channel = 0; channel < channels_; ++channel) {
        samples.push_back(static_cast<std::int16_t>(std::lround(shape_(channel, second))));
      }
    }
    return came;
  }

 private:
  std::uint32_t rate_;
  std::uint32_t channels_;
  std::uint64_t frames_;
  Shape shape_;
  std::uint64_t position_ = 0;
  std::optional<audiomatch::Damage> damage_;
};

Shape sine(double hertz, double height = 20'000) {
  return [=](std::uint32_t, double second) { return height * std::sin(2 * M_PI * hertz * second); };
}

MonoResampler resampler(std::uint32_t rate, std::uint32_t channels, std::uint64_t frames,
                        const Shape& shape) {
  return MonoResampler(std::make_unique<Signal>(rate, channels, frames, shape));
}

Samples resampled(std::uint32_t rate, std::uint32_t channels, std::uint64_t frames,
                  const Shape& shape) {
  MonoResampler sound = resampler(rate, channels, frames, shape);
  Samples samples;
  sound.read(samples, SIZE_MAX);
  EXPECT_EQ(sound.position(), samples.size());
  EXPECT_EQ(sound.promisedFrames(), samples.size());
  return samples;
}

/// The largest difference from a shape, away from the ends, where a filter rings.
double worstOf(const Samples& samples, const Shape& shape) {
  constexpr std::size_t kEdge = 800;
  double worst = samples.size() > 2 * kEdge ? 0 : INFINITY;
  for (std::size_t i = kEdge; i + kEdge < samples.size(); ++i) {
    worst = std::max(worst, std::abs(samples[i] - shape(0, static_cast<double>(i) / 8000)));
  }
  return worst;
}

TEST(MonoResampler, KeepsTimeAndHeightAtEveryRate) {
  for (const std::uint32_t rate : {800u, 7999u, 11'025u, 16'000u, 22'050u, 44'100u, 48'000u,
                                   88'200u, 96'000u, 100'003u, 192'000u, 768'000u}) {
    const Shape shape = sine(rate == 800 ? 200 : 1000);
    // A second and a half, so that a rest has to be rounded, too.
    const std::uint64_t frames = rate + rate / 2 + 1;
    const Samples samples = resampled(rate, 1, frames, shape);
    EXPECT_EQ(samples.size(), std::floor(8000.0 * static_cast<double>(frames) / rate + 0.5))
        << rate;
    EXPECT_LT(worstOf(samples, shape), 4) << rate;
  }
}

TEST(MonoResampler, LeavesNothingAboveWhatIsAnalysed) {
  for (const std::uint32_t rate : {44'100u, 48'000u, 96'000u}) {
    EXPECT_LT(worstOf(resampled(rate, 1, rate, sine(4800)), sine(1, 0)), 2) << rate;
  }
}

TEST(MonoResampler, MixesChannelsByTheirMean) {
  for (const std::uint32_t channels : {1u, 2u, 3u, 6u}) {
    // Channel n is n + 1 times as high as the first.
    const double mean = (channels + 1) / 2.0;
    const Samples samples =
        resampled(44'100, channels, 44'100, [](std::uint32_t channel, double second) {
          return (channel + 1) * sine(700, 4000)(0, second);
        });
    EXPECT_EQ(samples.size(), 8000u);
    EXPECT_LT(worstOf(samples, sine(700, 4000 * mean)), 4) << channels;
  }
  const Samples opposite = resampled(48'000, 2, 48'000, [](std::uint32_t channel, double second) {
    return channel == 0 ? sine(700)(0, second) : -sine(700)(0, second);
  });
  EXPECT_EQ(opposite, Samples(8000, 0));
}

TEST(MonoResampler, CutsWhatRingsBeyondSixteenBits) {
  // A square wave of full height, whose flanks overshoot once its overtones are gone.
  const Samples samples = resampled(44'100, 1, 44'100, [](std::uint32_t, double second) {
    return std::fmod(second, 0.02) < 0.01 ? 32'767 : -32'768;
  });
  EXPECT_TRUE(std::ranges::find(samples, 32'767) != samples.end());
  EXPECT_TRUE(std::ranges::find(samples, -32'768) != samples.end());
  for (std::size_t i = 80; i < samples.size() - 80; ++i) {
    const std::size_t place = i % 80;  // of 80 that are high, then as many low
    if (place < 4 || place > 76) continue;
    EXPECT_EQ(samples[i] > 0, i / 80 % 2 == 0) << i;
  }
}

TEST(MonoResampler, GivesTheSameHoweverItIsRead) {
  const Shape shape = sine(1234);
  const Samples whole = resampled(44'100, 2, 30'011, shape);
  MonoResampler sound = resampler(44'100, 2, 30'011, shape);
  Samples pieces;
  for (std::size_t i = 1; sound.read(pieces, i) == i;) i = i * 3 % 1009;
  EXPECT_EQ(pieces, whole);
  MonoResampler skipped = resampler(44'100, 2, 30'011, shape);
  EXPECT_EQ(skipped.skip(1500), 1500u);
  Samples rest;
  skipped.read(rest, SIZE_MAX);
  EXPECT_EQ(rest, Samples(whole.begin() + 1500, whole.end()));
}

TEST(MonoResampler, MakesOneFrameAtLeastOfAnySound) {
  for (const std::uint64_t frames : {1u, 2u, 3u, 8u}) {
    EXPECT_EQ(resampled(44'100, 2, frames, sine(1000)).size(), 1u) << frames;
  }
  EXPECT_EQ(resampled(44'100, 2, 9, sine(1000)).size(), 2u);
  EXPECT_TRUE(resampled(44'100, 2, 0, sine(1000)).empty());
  // The most that a header promises overflows nothing.
  EXPECT_EQ(resampler(8001, 1, std::uint64_t{8001} << 46, sine(1)).promisedFrames(),
            std::uint64_t{8000} << 46);
}

TEST(SoundToMono, LeavesWhatIsAt8000HzAlone) {
  const testing_support::TemporaryFolder folder;
  const Samples samples = {1, -2, 32'767, -32'768, 5, 6};
  testing_support::writeWav(folder / "a.wav", SF_FORMAT_PCM_16, 8000, samples);
  Samples read;
  audiomatch::openSound(folder / "a.wav", {.to_mono = true})->read(read, SIZE_MAX);
  EXPECT_EQ(read, samples);
}

/// What the third second of a sound has of a tone.
std::complex<double> toneIn(const Samples& samples, double hertz) {
  std::complex<double> sum = 0.0;
  for (std::size_t i = 16'000; i < 24'000; ++i) {
    sum += static_cast<double>(samples[i]) *
           std::polar(1.0, -2 * M_PI * hertz * static_cast<double>(i) / 8000);
  }
  return sum / 4000.0;
}

double powerOf(const Samples& samples) {
  double sum = 0.0;
  for (std::size_t i = 16'000; i < 24'000; ++i) sum += static_cast<double>(samples[i]) * samples[i];
  return sum / 4000.0;
}

/// Part of MPEG audio isn't decoded at all: what is left is as high and in its time.
TEST(SoundToMono, HasWhatItNeedsOfAnMp3) {
  constexpr double kTones[] = {300, 1500, 2500, 3500};
  for (const int rate : {48'000, 44'100, 32'000, 24'000, 22'050, 16'000}) {
    SCOPED_TRACE(rate);
    Samples sound;
    // Tones that are heard, and others that mustn't come back at another place.
    const auto sum = [](std::uint32_t, double second) {
      double height = 0.0;
      for (const double hertz : {300, 1500, 2500, 3500, 4700, 5400, 6100, 7300}) {
        height += sine(hertz, 3000)(0, second);
      }
      return height;
    };
    Signal(static_cast<std::uint32_t>(rate), 1, static_cast<std::uint64_t>(rate) * 4, sum)
        .read(sound, SIZE_MAX);
    const testing_support::TemporaryFolder folder;
    testing_support::writeSound(folder / "a", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, rate,
                                sound);
    Samples samples;
    audiomatch::openSound(folder / "a", {.to_mono = true})->read(samples, SIZE_MAX);
    ASSERT_EQ(samples.size(), 32'000);
    double heard = 0.0;
    for (const double hertz : kTones) {
      // A sine lags behind a cosine by a quarter.
      const std::complex<double> tone = toneIn(samples, hertz) * std::complex<double>(0, 1);
      EXPECT_NEAR(std::abs(tone), 3000, 300) << hertz;
      EXPECT_LE(std::abs(std::arg(tone)) / (2 * M_PI * hertz), 4.0 / rate) << hertz;
      heard += std::norm(tone);
    }
    EXPECT_LT(powerOf(samples) - heard, 0.01 * heard);
    // Frames that are lost are as long as those that are there.
    std::string bytes = testing_support::contents(folder / "a");
    bytes.replace(bytes.size() / 2, 2000, 2000, '\xFF');
    std::ofstream(folder / "a", std::ios::binary) << bytes;
    samples.clear();
    audiomatch::openSound(folder / "a", {.to_mono = true})->read(samples, SIZE_MAX);
    Samples whole;
    MonoResampler(audiomatch::openSound(folder / "a")).read(whole, SIZE_MAX);
    EXPECT_NEAR(static_cast<double>(samples.size()), static_cast<double>(whole.size()), 2);
  }
}

TEST(SoundToMono, HasSilenceInThePlaceOfWhatIsDamaged) {
  constexpr int kRate = 44'100;
  constexpr int kSeconds = 10;
  Samples tone;
  Signal(kRate, 1, std::uint64_t{kRate} * kSeconds, sine(1000)).read(tone, SIZE_MAX);
  const testing_support::TemporaryFolder folder;
  testing_support::writeSound(folder / "a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, kRate, tone);
  std::string bytes = testing_support::contents(folder / "a.flac");
  bytes.replace(bytes.size() / 2, 1500, 1500, '\xFF');
  std::ofstream(folder / "a.flac", std::ios::binary) << bytes;
  const auto sound = audiomatch::openSound(folder / "a.flac", {.to_mono = true});
  Samples samples;
  sound->read(samples, SIZE_MAX);
  ASSERT_TRUE(sound->damage());
  EXPECT_NEAR(sound->damage()->second, kSeconds / 2, 1.0);
  ASSERT_EQ(samples.size(), 8000u * kSeconds);
  const auto gap = static_cast<std::ptrdiff_t>(sound->damage()->second * 8000);
  EXPECT_LT(std::abs(samples[static_cast<std::size_t>(gap) + 100]), 100);
  // On both sides the tone goes on in its own time.
  const Samples before(samples.begin(), samples.begin() + gap);
  EXPECT_LT(worstOf(before, sine(1000)), 4);
  const Samples behind(samples.end() - 8000 * 3, samples.end());
  EXPECT_LT(worstOf(behind, sine(1000)), 4);
}

TEST(SoundToMono, IsPartedWhereSoundsAt8000HzAre) {
  // Half a minute more than a part, rising by one step in 8000 a frame.
  const auto seconds = static_cast<std::uint64_t>(16'384 * 0.032) + 30;
  const Shape rising = [](std::uint32_t, double second) { return 10 * second; };
  MonoResampler sound = resampler(12'000, 2, seconds * 12'000, rising);
  audiomatch::PartReader parts(sound);
  const audio::AudioDataPtr first = parts.next();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->sampleRate(), 8000u);
  EXPECT_EQ(first->channels(), 1u);
  EXPECT_EQ(first->dataLen(), audiomatch::partLength(8000));
  const audio::AudioDataPtr second = parts.next();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->dataLen(), seconds * 8000 - 16'384 * 256);
  EXPECT_NEAR(second->channelData(0)[0] * 32'767, 10 * 16'384 * 0.032, 1.0);
  EXPECT_FALSE(parts.next());
}

}  // namespace
