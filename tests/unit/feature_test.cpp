#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "base/engine_parameters.h"
#include "base/logger.h"
#include "feature/audio_land_mark_finder.h"
#include "feature/feature_extractor.h"
#include "feature/land_mark.h"
#include "feature/local_max_detection.h"
#include "support/log_capture.h"
#include "support/test_audio.h"

namespace {

using namespace testing_support;
using Messages = std::vector<std::string>;
using EnginePeaks = std::vector<std::vector<audio::LocalMaxRecorder>>;

EnginePeaks detect(const plain::Matrix& matrix, const audio::LocalMaxWindow& window) {
  EnginePeaks peaks;
  audio::detectLocalMaxima(matrix.values.data(), matrix.bins, matrix.frames, window, peaks);
  return peaks;
}

void expectSamePeaks(const plain::Matrix& matrix, int time_len, int freq_len, int cap) {
  SCOPED_TRACE(testing::Message() << matrix.frames << " x " << matrix.bins << ", " << time_len
                                  << " x " << freq_len << ", cap " << cap);
  plain::Log log;
  const plain::Peaks expected = plain::extractPeaks(matrix, log, time_len, freq_len, cap);
  const EnginePeaks peaks = detect(matrix, {time_len >> 1, freq_len >> 1, cap});
  ASSERT_EQ(peaks.size(), expected.size());
  for (std::size_t t = 0; t < peaks.size(); ++t) {
    ASSERT_EQ(peaks[t].size(), expected[t].size()) << "frame " << t;
    for (std::size_t i = 0; i < peaks[t].size(); ++i) {
      ASSERT_EQ(peaks[t][i].timeIndex, expected[t][i].timeIndex);
      ASSERT_EQ(peaks[t][i].freqIndex, expected[t][i].freqIndex);
      ASSERT_EQ(std::bit_cast<std::uint32_t>(peaks[t][i].value),
                std::bit_cast<std::uint32_t>(expected[t][i].value));
    }
  }
}

plain::Matrix randomMatrix(std::mt19937& random, std::uint32_t frames, std::uint32_t bins,
                           const std::vector<float>& values) {
  plain::Matrix matrix{frames, bins, std::vector<float>(std::size_t{frames} * bins)};
  for (float& value : matrix.values) value = values[random() % values.size()];
  return matrix;
}

TEST(LocalMaxima, AgreeWithTheRuleCellByCell) {
  // Few values make ties, close ones try the epsilon, the last are no numbers.
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  std::vector<float> many(2000);
  for (std::size_t i = 0; i < many.size(); ++i) many[i] = static_cast<float>(i) * 0.01f - 8.0f;
  const std::vector<std::vector<float>> palettes = {
      many,  {0.0f, 1.0f, 2.0f},      {0.0f, -0.0f, 1e-7f, 1.2e-7f, 3e-7f, 1e-6f},
      {nan}, {-inf, inf, 0.0f, 1.0f}, {nan, 1.0f, 2.0f, -inf}};
  // Lengths in frames and bins, and how many peaks a frame keeps.
  const std::vector<std::array<int, 3>> windows = {
      {17, 17, 25}, {3, 3, 25},  {16, 3, 2}, {1, 9, 25}, {0, 0, 4},
      {-1, 17, 3},  {17, -5, 3}, {5, 5, 0},  {5, 5, -1}, {121, 121, 9}};
  std::mt19937 random(11);
  for (const auto& palette : palettes) {
    for (const auto& [frames, bins] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {0, 257}, {1, 1}, {1, 40}, {40, 1}, {3, 3}, {8, 9}, {17, 17}, {18, 34}, {60, 50}}) {
      const plain::Matrix matrix = randomMatrix(random, frames, bins, palette);
      for (const auto& [time_len, freq_len, cap] : windows) {
        expectSamePeaks(matrix, time_len, freq_len, cap);
      }
    }
  }
}

TEST(LocalMaxima, WindowsBeyondTheMatrixAreClamped) {
  std::mt19937 random(12);
  const plain::Matrix matrix = randomMatrix(random, 30, 40, {0.0f, 1.0f, 2.0f, 3.0f, 4.0f});
  const std::int32_t most = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(detect(matrix, {most, most, most}), detect(matrix, {30, 40, 1200}));
}

TEST(LocalMaxima, EverySmallMatrix) {
  // All matrices of 3 × 3 cells over three values.
  for (int code = 0; code < 19683; ++code) {
    plain::Matrix matrix{3, 3, {}};
    for (int rest = code, i = 0; i < 9; ++i, rest /= 3) {
      matrix.values.push_back(static_cast<float>(rest % 3));
    }
    expectSamePeaks(matrix, 3, 3, 25);
    if (HasFatalFailure()) return;
  }
}

TEST(LocalMaxima, ReadTheParametersAtEveryDetection) {
  LogCapture capture;
  audio::AudioLandMarkFinder2D finder;
  EXPECT_TRUE(finder.extractPeaks());
  audio::_2d_local_max_detect_time_win_len.value = -3;
  audio::_2d_local_max_detect_freq_win_len.value = 16;
  EXPECT_TRUE(finder.extractPeaks());
  audio::_2d_local_max_detect_time_win_len.value = 17;
  audio::_2d_local_max_detect_freq_win_len.value = 17;
  EXPECT_EQ(capture.messages(),
            (Messages{"half local max detect freq win len = 8, half time win len = 8.",
                      "half local max detect freq win len = 8, half time win len = -2."}));
}

TEST(Pairing, ReachesAndFanOut) {
  // One anchor at (0, 100); targets one per frame.
  const auto pairs = [](const std::vector<std::pair<int, int>>& targets) {
    EnginePeaks peaks(70);
    peaks[0] = {{0, 100, 1.0f}};
    for (const auto& [frame, bin] : targets) {
      peaks[static_cast<std::size_t>(frame)].push_back({frame, bin, 1.0f});
    }
    std::vector<audio::LandMark> marks;
    audio::appendPairs(peaks, marks);
    std::erase_if(marks,
                  [](const auto& mark) { return mark.anchorTime != 0 || mark.anchorFreq != 100; });
    return marks;
  };
  EXPECT_TRUE(pairs({{0, 105}, {5, 100}, {6, 131}, {7, 69}, {64, 101}}).empty());
  EXPECT_EQ(pairs({{63, 130}, {1, 70}}),
            (std::vector<audio::LandMark>{{0, 100, 70, 1}, {0, 100, 130, 63}}));
  const auto many = pairs({{2, 101}, {2, 99}, {3, 102}, {4, 103}, {5, 104}, {6, 105}, {7, 106}});
  ASSERT_EQ(many.size(), 6u);
  EXPECT_EQ(many[1], (audio::LandMark{0, 100, 99, 2}));
  EXPECT_EQ(many[5], (audio::LandMark{0, 100, 105, 6}));
}

TEST(Hashing, PacksTheLandmark) {
  const audio::LandMark marks[] = {
      {10, 100, 95, 3}, {0, 20, 50, 63}, {7, 300, 280, 1}, {0, 256, 257, 1}};
  std::uint32_t keys[4] = {};
  audio::computeHashKeys(marks, 4, keys);
  EXPECT_EQ(keys[0], 413379u);
  EXPECT_EQ(keys[1], 83903u);
  EXPECT_EQ(keys[2], 183041u);
  EXPECT_EQ(keys[3], audio::hashLandMark({0, 0, 1, 1}));
  audio::computeHashKeys(nullptr, 4, keys);
  EXPECT_EQ(keys[0], 413379u);
}

TEST(Hashing, UnpacksEveryKeyThatALandmarkCanHave) {
  for (std::int32_t anchor = 0; anchor < 256; ++anchor) {
    for (std::int32_t distance = -30; distance <= 30; ++distance) {
      const audio::LandMark mark{0, anchor, anchor + distance, 1 + (anchor + distance + 63) % 63};
      ASSERT_EQ(audio::landMarkOfHash(audio::hashLandMark(mark)), mark);
    }
  }
  EXPECT_EQ(audio::landMarkOfHash(audio::hashLandMark({9, 256, 250, 63})),
            (audio::LandMark{0, 0, -6, 63}));
}

/// A recording of `frames` frames of 8000 Hz music.
audio::AudioDataPtr recording(std::uint32_t frames) {
  return Recording(3, 1, frames, 8000).engine();
}

TEST(Extractor, FailsInOrderAndStaysUsable) {
  const audio::AudioDataPtr good = recording(16000);
  const audio::AudioDataPtr tiny = recording(300);
  const audio::AudioDataPtr empty(audio::AudioData::createEmpty());
  audio::FeatureExtractor extractor;
  {
    LogCapture capture;
    EXPECT_FALSE(extractor.loadAudio(nullptr));
    EXPECT_FALSE(extractor.loadAudio(good.get()));  // no finder, no message
    EXPECT_FALSE(extractor.extractFeatures());
    EXPECT_EQ(capture.messages(), (Messages{"input a null audio.", "init not finished."}));
  }
  ASSERT_TRUE(extractor.init(false));
  ASSERT_TRUE(extractor.loadAudio(good.get()) && extractor.extractFeatures());
  const auto features = extractor.getFeatures();
  EXPECT_FALSE(extractor.loadAudio(nullptr));
  EXPECT_EQ(extractor.getFeatures(), features);
  {
    // An earlier recording must not be analysed after a failed load.
    LogCapture capture;
    EXPECT_FALSE(extractor.loadAudio(empty.get()));
    EXPECT_TRUE(extractor.getFeatures().empty());
    EXPECT_FALSE(extractor.extractFeatures());
    EXPECT_EQ(capture.messages(),
              (Messages{"audio data len = 0.", "prepare audio data failed.",
                        "Audio land mark finder have not initialized successfully."}));
  }
  EXPECT_TRUE(extractor.loadAudio(tiny.get()));
  EXPECT_FALSE(extractor.extractFeatures());
  ASSERT_TRUE(extractor.loadAudio(good.get()) && extractor.extractFeatures());
  EXPECT_EQ(extractor.getFeatures(), features);
  // Landmarks are appended by a second run; the choice removes the repeats.
  ASSERT_TRUE(extractor.extractFeatures());
  EXPECT_EQ(extractor.getFeatures(), features);
}

TEST(Extractor, TellsWhatCameOfARecording) {
  using audio::ExtractionOutcome;
  audio::gLogger.setEnabled(false);
  const auto outcome = [](const audio::AudioDataPtr& audio, bool single_pass = false) {
    audio::FeatureExtractor extractor;
    EXPECT_EQ(extractor.outcome(), ExtractionOutcome::kNotReady);
    EXPECT_TRUE(extractor.init(single_pass));
    if (!extractor.loadAudio(audio.get())) return extractor.outcome();
    EXPECT_EQ(extractor.outcome(), ExtractionOutcome::kNone);
    const bool extracted = extractor.extractFeatures();
    EXPECT_EQ(extracted, extractor.outcome() == ExtractionOutcome::kFeatures);
    return extractor.outcome();
  };
  const auto shaped = [](std::uint32_t rate, std::uint32_t length) {
    return audio::AudioDataPtr(audio::AudioData::create(1, rate, length));
  };
  EXPECT_EQ(outcome(recording(16000)), ExtractionOutcome::kFeatures);
  EXPECT_EQ(outcome(recording(512), true), ExtractionOutcome::kNoLandMarks);
  EXPECT_EQ(outcome(recording(511), true), ExtractionOutcome::kTooShort);
  EXPECT_EQ(outcome(recording(512)), ExtractionOutcome::kTooShort);  // in its second pass
  EXPECT_EQ(outcome(shaped(44100, 2)), ExtractionOutcome::kTooShort);
  EXPECT_EQ(outcome(shaped(8000, 16000)), ExtractionOutcome::kSilent);
  EXPECT_EQ(outcome(shaped(44100, 44100)), ExtractionOutcome::kSilent);
  for (const std::uint32_t rate : {1u, 799u, 80000u, 4000000000u}) {
    EXPECT_EQ(outcome(shaped(rate, 44100)), ExtractionOutcome::kUnsupportedRate) << rate;
  }
  EXPECT_EQ(outcome(audio::AudioDataPtr(audio::AudioData::createEmpty())),
            ExtractionOutcome::kTooShort);
  audio::gLogger.setEnabled(true);
}

/// A finder that can be taken apart.
class FinderInPieces : public audio::AudioLandMarkFinder2D {
 public:
  bool extractPeaks() override { return peaks_work && AudioLandMarkFinder2D::extractPeaks(); }
  void loseResampler() { resampler.reset(); }
  bool peaks_work = true;
};

TEST(Finder, SaysWhichPieceIsMissing) {
  const audio::AudioDataPtr good = Recording(3, 1, 22050, 11025).engine();
  const audio::AudioDataPtr empty(audio::AudioData::createEmpty());
  FinderInPieces finder;
  LogCapture capture;
  EXPECT_FALSE(finder.setAudio(nullptr));
  EXPECT_FALSE(finder.genSpectrogram(good->channelData(0), 11025, 22050));
  ASSERT_TRUE(finder.init(true) && finder.setAudio(good.get()));
  finder.peaks_work = false;
  EXPECT_FALSE(finder.findLandMarks());
  finder.loseResampler();
  EXPECT_FALSE(finder.genSpectrogram(good->channelData(0), 11025, 22050));
  EXPECT_EQ(finder.outcome(), audio::ExtractionOutcome::kNotReady);
  Messages messages = capture.messages();
  std::erase_if(messages, [](const std::string& m) { return m.rfind("cvt spectrogram", 0) == 0; });
  EXPECT_EQ(messages, (Messages{"input audio data is null.", "sepctrogram_generator is null.",
                                "extract peaks error.", "resampler is null."}));
  // An empty recording ends before its first pass, which is no failure.
  FinderInPieces whole;
  ASSERT_TRUE(whole.init(false) && whole.setAudio(empty.get()));
  EXPECT_TRUE(whole.findLandMarks());
  EXPECT_TRUE(whole.getLandMarks().empty());
  EXPECT_EQ(capture.messages().back(), "warning : start time > audio duration.");
}

TEST(Extractor, ASineStandsInItsBin) {
  audio::AudioDataPtr audio(audio::AudioData::create(1, 8000, 8000));
  for (int i = 0; i < 8000; ++i) {
    audio->channelData(0)[i] = static_cast<float>(0.5 * std::sin(2.0 * M_PI * 1000.0 * i / 8000.0));
  }
  audio::AudioLandMarkFinder2D finder;
  ASSERT_TRUE(finder.init(true) && finder.setAudio(audio.get()));
  ASSERT_TRUE(finder.genSpectrogram(audio->channelData(0), 8000, 8000));
  ASSERT_EQ(finder.frameNum(), 30u);
  for (std::uint32_t t = 0; t < 30; ++t) {
    const float* row = finder.spectrogramMatrix() + t * 257;
    EXPECT_EQ(std::max_element(row, row + 257) - row, 64);
    EXPECT_LE(*std::max_element(row, row + 257) - *std::min_element(row, row + 257), 13.8156f);
  }
}

}  // namespace
