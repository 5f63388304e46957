// Recordings that run faster or slower than their references.

#include "tool/recognition/speed_search.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/analysis_grid.h"
#include "tool/input/recording.h"

namespace {

using audiomatch::slowedDown;

/// A tone of so many hertz, a second long.
audio::AudioDataPtr tone(double hertz, std::uint32_t channels) {
  std::vector<std::int16_t> samples;
  for (std::uint32_t i = 0; i < audio::kAnalysisRate; ++i) {
    const double value = std::sin(2.0 * M_PI * hertz * i / audio::kAnalysisRate);
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
      samples.push_back(static_cast<std::int16_t>(std::lround(8000.0 * value / (channel + 1))));
    }
  }
  return audiomatch::toAudio(samples, channels, audio::kAnalysisRate);
}

TEST(SpeedSearch, SlowsDownEveryChannel) {
  const audio::AudioDataPtr recording = tone(1000.0, 2);
  for (const double factor : {0.96, 1.005, 1.04}) {
    const audio::AudioDataPtr slow = slowedDown(*recording, factor);
    ASSERT_EQ(slow->channels(), 2u);
    EXPECT_EQ(slow->sampleRate(), audio::kAnalysisRate);
    EXPECT_EQ(slow->dataLen(), std::lround(8000 * factor));
    // The tone that it has to be, but at its ends.
    double worst = 0.0;
    for (std::uint32_t channel = 0; channel < 2; ++channel) {
      for (std::uint32_t i = 500; i < slow->dataLen() - 500; ++i) {
        const double expected =
            std::sin(2.0 * M_PI * 1000.0 / factor * i / audio::kAnalysisRate) / (channel + 1);
        const double sample = static_cast<double>(slow->channelData(channel)[i]) /
                              static_cast<double>(recording->channelData(channel)[2]);
        const double scale =
            std::sin(2.0 * M_PI * 1000.0 * 2 / audio::kAnalysisRate) / (channel + 1);
        worst = std::max(worst, std::abs(sample * scale - expected));
      }
    }
    EXPECT_LT(worst, 0.002);
  }
}

TEST(SpeedSearch, AnotherSpeedNeedsMoreFeaturesAndTheWholeLead) {
  const audiomatch::Thresholds usual = audiomatch::kThresholds;
  const auto is_enough = [&](std::int32_t agreeing, double discrimination) {
    audiomatch::Answer answer;
    answer.features = 900;
    answer.verdict.candidates.push_back({"a", 0, 2 * agreeing, agreeing, 0});
    answer.verdict.discrimination = discrimination;
    // Found among all audios, as one that is recognised there may be.
    answer.verdict.recognised = usual.amongAll().recognise(agreeing, discrimination, 900);
    return audiomatch::isRecognisedAtSpeed(answer, usual);
  };
  EXPECT_TRUE(is_enough(14, 0.45));
  EXPECT_FALSE(is_enough(13, 0.45));
  EXPECT_FALSE(is_enough(30, 0.44));  // amongst all that lead would do
  // Four times the ten that have to, besides the four, make up for a lead.
  EXPECT_TRUE(is_enough(44, 0.0));
  EXPECT_FALSE(is_enough(43, 0.0));
  EXPECT_FALSE(audiomatch::isRecognisedAtSpeed({}, usual));
}

TEST(SpeedSearch, KeepsASampleOfTheShortest) {
  const audio::AudioDataPtr one = audiomatch::toAudio(std::vector<std::int16_t>{7}, 1, 8000);
  EXPECT_EQ(slowedDown(*one, 0.4)->dataLen(), 1u);
}

}  // namespace
