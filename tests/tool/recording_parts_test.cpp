// Long recordings in parts, on both sides of the limit.

#include "tool/input/recording_parts.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "feature/feature_extractor.h"
#include "support/test_audio.h"
#include "tests/tool/tool_files.h"
#include "tool/keeping/entry_selection.h"
#include "tool/keeping/reference_analysis.h"

namespace {

using namespace audiomatch;
using namespace testing_support;

// At 8000 Hz: 16384 frames of 256 samples and half a frame more.
constexpr std::uint32_t kWholePart = 16384 * 256 + 256;

/// Lengths and first samples of the parts of a recording that counts up.
using Parts = std::vector<std::pair<std::uint32_t, std::int64_t>>;
Parts partsOf(std::uint32_t frames, int rate) {
  const TemporaryFolder folder;
  std::vector<std::int16_t> samples(frames);
  for (std::uint32_t i = 0; i < frames; ++i) samples[i] = static_cast<std::int16_t>(i % 30011);
  writeWav(folder / "a.wav", SF_FORMAT_PCM_16, rate, samples);
  const auto sound = openSound(folder / "a.wav");
  PartReader parts(*sound);
  Parts found;
  while (const audio::AudioDataPtr part = parts.next()) {
    found.emplace_back(part->dataLen(), std::llround(part->channelData(0)[0] * 32767));
  }
  return found;
}

TEST(RecordingParts, SplitBehindTheLastFrameThatFits) {
  EXPECT_EQ(audio::frameCount(511, 8000), 0u);
  EXPECT_EQ(audio::frameCount(512, 8000), 1u);
  EXPECT_EQ(audio::frameCount(kWholePart + 255, 8000), 16384u);
  EXPECT_EQ(partsOf(kWholePart + 255, 8000), (Parts{{kWholePart + 255, 0}}));
  // One frame too many. 16384 frames are 4,194,304 samples, which modulo
  // 30,011 are 22,775.
  EXPECT_EQ(partsOf(kWholePart + 256, 8000), (Parts{{kWholePart + 256, 0}, {512, 22'775}}));
}

TEST(RecordingParts, StartAtTheNearestSample) {
  // Every 524.288 s: 419,430.4 samples at 800 Hz, 23,121,100.8 at 44100 Hz.
  EXPECT_EQ(partStart(1, 800), 419'430u);
  EXPECT_EQ(partStart(2, 800), 838'861u);
  EXPECT_EQ(partStart(1, 44100), 23'121'101u);
  EXPECT_EQ(partStart(2, 44100), 46'242'202u);
  const Parts parts = partsOf(838'861 + 160'000, 800);
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_EQ(parts[1].second, 419'430 % 30'011);
  EXPECT_EQ(parts[2], (Parts::value_type{160'000, 838'861 % 30'011}));
}

TEST(RecordingParts, LoseNoLandmarkAtTheirBorder) {
  const TemporaryFolder folder;
  const Recording recording(3, 1, kWholePart + 40 * 8000, 8000);
  writeWav(folder / "a.wav", SF_FORMAT_PCM_16, 8000, recording.pcm);
  ReferenceAnalyser analyser;
  const Reference reference = analyser.analyse(folder / "a.wav", kEveryEntry);
  ASSERT_EQ(reference.parts.size(), 2u);
  // Once more by the same one, which reads ahead.
  const Reference again = analyser.analyse(folder / "a.wav", kEveryEntry, {}, std::launch::async);
  EXPECT_EQ(again.parts, reference.parts);
  EXPECT_EQ(again.seconds, reference.seconds);
  EXPECT_TRUE(std::ranges::all_of(reference.parts[0],
                                  [](const auto& feature) { return feature.startTime < 16384; }));

  // What one pass over everything finds near the border is in one of them.
  audio::FeatureExtractor extractor;
  ASSERT_TRUE(extractor.init(true) && extractor.loadAudio(recording.engine().get()) &&
              extractor.extractFeatures());
  std::size_t across = 0;
  std::size_t behind = 0;
  for (const auto& [time, key] : extractor.getFeatures()) {
    const bool first = time < 16384;
    // The second part's first peaks lack neighbours on their left.
    if (time < 16384 - 64 || (!first && time < 16384 + 8)) continue;
    const audio::AudioFeature in_part = {time % 16384, key};
    const auto& part = reference.parts[first ? 0 : 1];
    EXPECT_TRUE(std::ranges::find(part, in_part) != part.end()) << time;
    across += first && time + (key & 63) >= 16384;
    behind += !first;
  }
  EXPECT_GT(across, 0u);
  EXPECT_GT(behind, 0u);
}

}  // namespace
