// The engine against the plain reference: every feature, spectrogram value and
// message, over rates, channel counts and several recordings in a row.

#include <gtest/gtest.h>

#include <cstring>

#include "feature/audio_land_mark_finder.h"
#include "support/expect_same_features.h"

namespace {

using namespace testing_support;

TEST(Equivalence, EveryRateSeveralRecordingsInARow) {
  for (const std::uint32_t rate :
       {800u, 801u, 4000u, 7999u, 8000u, 8001u, 11025u, 16000u, 22050u, 44100u, 48000u, 79999u}) {
    expectSameFeatures(false,
                       {Recording(rate, 1, rate * 3, rate), Recording(rate + 1, 2, rate * 2, rate),
                        Recording(rate + 2, 1, rate * 2 + 17, rate)});
  }
}

TEST(Equivalence, ChannelsPassesAndChangesOfRate) {
  for (std::uint32_t channels = 1; channels <= 8; ++channels) {
    expectSameFeatures(
        channels % 2 == 0,
        {Recording(channels, channels, 20000, 8000), Recording(channels, channels, 60000, 32000),
         Recording(channels, 1, 9000, 8000), Recording(channels, channels, 30001, 11025)});
  }
}

TEST(Equivalence, LengthsAroundAFrameAndRatesOutsideTheRange) {
  std::vector<Recording> recordings;
  for (const std::uint32_t frames :
       {1u, 63u, 64u, 192u, 255u, 256u, 511u, 512u, 703u, 704u, 767u, 768u, 960u, 2000u}) {
    recordings.emplace_back(frames, 1, frames, 8000);
    recordings.emplace_back(frames, 2, frames, 44100);
  }
  for (const std::uint32_t rate : {1u, 799u, 80000u, 192000u, 4000000000u}) {
    recordings.emplace_back(rate, 1, 20000, rate);
  }
  recordings.emplace_back(1, 1, 30000, 16000);
  expectSameFeatures(false, recordings);
  expectSameFeatures(true, recordings);
}

TEST(Equivalence, SilenceConstantsAndFullScale) {
  std::vector<Recording> recordings(4, Recording(1, 1, 24000, 8000));
  std::fill(recordings[0].pcm.begin(), recordings[0].pcm.end(), std::int16_t{0});
  std::fill(recordings[1].pcm.begin(), recordings[1].pcm.end(), std::int16_t{-32768});
  for (std::size_t i = 0; i < recordings[2].pcm.size(); ++i) {
    recordings[2].pcm[i] = i % 2 == 0 ? std::int16_t{32767} : std::int16_t{-32768};
  }
  std::fill(recordings[3].pcm.begin(), recordings[3].pcm.end() - 1, std::int16_t{0});
  expectSameFeatures(false, recordings);
}

TEST(Equivalence, MonoMixesAreTheSameBits) {
  for (const std::uint32_t channels : {1u, 2u, 3u, 5u, 7u}) {
    plain::Log log;
    const Recording recording(channels, channels, 5000, 8000);
    const plain::Audio reference = plain::mixToMono(recording.reference(log));
    const audio::AudioDataPtr mono = audio::monoMix(*recording.engine());
    ASSERT_EQ(std::memcmp(mono->channelData(0), reference.rows[0].data(), 5000 * sizeof(float)), 0)
        << channels << " channels";
  }
}

TEST(Equivalence, SpectrogramsAndPeaksAreTheSameBits) {
  for (const std::uint32_t rate : {8000u, 44100u, 16000u}) {
    LogCapture capture;
    plain::Log log;
    const Recording recording(rate, 1, rate * 4, rate);
    const audio::AudioDataPtr audio = recording.engine();
    const plain::Audio plain_audio = recording.reference(log);
    audio::AudioLandMarkFinder2D finder;
    plain::Finder reference(true, log);
    ASSERT_TRUE(finder.init(true) && finder.setAudio(audio.get()) && finder.findLandMarks());
    ASSERT_TRUE(reference.setAudio(&plain_audio) && reference.findLandMarks());
    const plain::Matrix& matrix = reference.spectrogram;
    ASSERT_EQ(finder.frameNum(), matrix.frames);
    ASSERT_EQ(finder.binNum(), matrix.bins);
    ASSERT_EQ(std::memcmp(finder.spectrogramMatrix(), matrix.values.data(),
                          matrix.values.size() * sizeof(float)),
              0);
    for (std::size_t t = 0; t < matrix.frames; ++t) {
      ASSERT_EQ(finder.getPeaks()[t].size(), reference.peaks[t].size());
      for (std::size_t i = 0; i < reference.peaks[t].size(); ++i) {
        ASSERT_EQ(finder.getPeaks()[t][i].freqIndex, reference.peaks[t][i].freqIndex);
        ASSERT_EQ(finder.getPeaks()[t][i].value, reference.peaks[t][i].value);
      }
    }
  }
}

}  // namespace
