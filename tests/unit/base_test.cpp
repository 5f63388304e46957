#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <thread>

#include "base/audio_data.h"
#include "base/engine_parameters.h"
#include "base/logger.h"
#include "support/log_capture.h"

namespace {

using audio::AudioData;
using audio::AudioDataPtr;
using testing_support::LogCapture;
using Messages = std::vector<std::string>;

TEST(Logger, WritesWholePiecesAndOnlyWhenEnabled) {
  LogCapture capture;
  audio::logMessage("\n100 %% of %s\n", "50 %d");
  audio::gLogger.setEnabled(false);
  audio::logMessage("unheard");
  audio::gLogger.setEnabled(true);
  EXPECT_EQ(capture.text(), "I/native-log: \n100 % of 50 %d\n\n");
}

TEST(Logger, CutsAtTheBufferAndNotBefore) {
  for (const std::size_t length : {1022u, 1023u, 1024u, 65534u, 65535u, 65536u, 200000u}) {
    LogCapture capture;
    audio::logMessage("%s", std::string(length, 'x').c_str());
    const std::size_t kept = std::min<std::size_t>(length, audio::kLogBufferSize - 1);
    EXPECT_EQ(capture.messages(), Messages{std::string(kept, 'x')}) << length;
  }
}

TEST(Logger, ThreadsDontMixTheirMessages) {
  LogCapture capture;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 50; ++i) {
        audio::logMessage(
            "%s",
            std::string(static_cast<std::size_t>(20000 + t), static_cast<char>('a' + t)).c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const Messages messages = capture.messages();
  ASSERT_EQ(messages.size(), 200u);
  for (const std::string& message : messages) {
    ASSERT_EQ(message, std::string(static_cast<std::size_t>(20000 + message[0] - 'a'), message[0]));
  }
}

TEST(Logger, GivesUpOnAPipeThatNobodyEmpties) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  const int saved = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  for (int i = 0; i < 4; ++i) audio::logMessage("%s", std::string(60000, 'x').c_str());
  dup2(saved, STDERR_FILENO);
  // The first message is whole; what comes after it may be cut, or missing.
  std::string heard(200000, '\0');
  heard.resize(
      static_cast<std::size_t>(std::max<ssize_t>(read(ends[0], heard.data(), heard.size()), 0)));
  const std::string first = "I/native-log: " + std::string(60000, 'x') + "\n";
  EXPECT_EQ(heard.substr(0, first.size()), first);
  EXPECT_LT(heard.size(), 4 * first.size());
  for (const int descriptor : {ends[0], ends[1], saved}) close(descriptor);
}

TEST(Parameters, AreRegisteredWithTheirDefaults) {
  const auto& registry = *audio::parameterRegistry();
  std::vector<std::string> names;
  for (const auto& [name, parameter] : registry.int_parameters_) {
    names.push_back(name + "=" + std::to_string(parameter->value));
    EXPECT_TRUE(parameter->flag());
    EXPECT_FALSE(parameter->debugNamed());
  }
  EXPECT_EQ(names,
            (std::vector<std::string>{
                "_1d_local_max_detection_win_len=51", "_1d_local_max_number_per_frame=5",
                "_2d_local_max_detect_freq_win_len=17", "_2d_local_max_detect_time_win_len=17",
                "_2d_local_max_number_per_frame=25", "gauss_local_max_detection_win_len=5",
                "gauss_local_max_number_per_frame=5"}));
  ASSERT_EQ(registry.double_parameters_.size(), 3u);
  EXPECT_EQ(registry.double_parameters_.at("gauss_sigma"), &audio::gauss_sigma);
  EXPECT_EQ(audio::gauss_sigma.value, 30.0);
  EXPECT_EQ(registry.double_parameters_.at("query_landmark_density")->value, 7.0);
  EXPECT_EQ(registry.double_parameters_.at("source_landmark_density")->value, 10.0);
  EXPECT_STREQ(registry.int_parameters_.at("_2d_local_max_detect_freq_win_len")->description(),
               "2d local max deteciton freq window length");
}

TEST(Parameters, ARefusedOneTakesNothingAway) {
  audio::ParameterRegistry registry;
  {
    audio::IntParameter first(1, "a display name", "", true, &registry);
    EXPECT_TRUE(first.debugNamed());
    EXPECT_TRUE(audio::DoubleParameter(1, "to debug", "", true, &registry).debugNamed());
    {
      audio::IntParameter second(2, "a display name", "", true, &registry);
      EXPECT_EQ(registry.int_parameters_.at("a display name"), &first);
    }
    EXPECT_EQ(registry.int_parameters_.size(), 1u);
  }
  EXPECT_TRUE(registry.int_parameters_.empty());
}

TEST(AudioDataTest, ShapesRowsOfZeros) {
  AudioDataPtr audio(AudioData::create(2, 8000, 4));
  ASSERT_TRUE(audio);
  EXPECT_EQ(audio->channelData(1), audio->channelData(0) + 4);
  EXPECT_EQ(audio->channelData(2), nullptr);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(audio->channelData(0)[i], 0.0f);
}

TEST(AudioDataTest, RefusesZeroCountsAndKeepsWhatItHad) {
  LogCapture capture;
  EXPECT_EQ(AudioData::create(1, 16000, 0), nullptr);
  EXPECT_EQ(AudioData::create(1, 0, 0), nullptr);
  EXPECT_EQ(AudioData::create(0, 0, 0), nullptr);
  AudioDataPtr audio(AudioData::create(1, 8000, 3));
  audio->channelData(0)[2] = 5.0f;
  AudioDataPtr empty(AudioData::createEmpty());
  EXPECT_FALSE(audio->copyFrom(*empty));
  EXPECT_TRUE(audio->copyFrom(*audio));
  EXPECT_EQ(audio->dataLen(), 3u);
  EXPECT_EQ(audio->channelData(0)[2], 5.0f);
  EXPECT_EQ(capture.messages(),
            (Messages{"input a invalid sample count = 0.", "input a invalid sample rate = 0.",
                      "input a invalid channel num = 0.", "input a invalid channel num = 0."}));
}

TEST(AudioDataTest, CopiesShapesAgainAndReleasesTwice) {
  AudioData* source = AudioData::create(2, 8000, 2);
  source->channelData(1)[1] = 7.0f;
  AudioDataPtr copy(AudioData::create(5, 1, 100));
  ASSERT_TRUE(copy->copyFrom(*source));
  AudioData::release(source);
  EXPECT_EQ(source, nullptr);
  AudioData::release(source);
  EXPECT_EQ(copy->channels(), 2u);
  EXPECT_EQ(copy->channelData(1)[1], 7.0f);
  ASSERT_TRUE(copy->init(2, 8000, 2));
  EXPECT_EQ(copy->channelData(1)[1], 0.0f);
}

TEST(AudioDataTest, AMixBeginsAtZeroAndACopyDoesnt) {
  for (const std::uint32_t channels : {1u, 2u, 3u}) {
    const AudioDataPtr recording(AudioData::create(channels, 8000, 3));
    std::fill_n(recording->channelData(0), 3 * channels, -0.0f);
    const AudioDataPtr mono = audio::monoMix(*recording);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(mono->channelData(0)[i], 0.0f);
      EXPECT_EQ(std::signbit(mono->channelData(0)[i]), channels == 1) << channels;
    }
  }
}

TEST(AudioDataTest, AnImpossibleSizeIsAFailure) {
  LogCapture capture;
  EXPECT_EQ(AudioData::create(UINT32_MAX, 8000, UINT32_MAX), nullptr);
  EXPECT_TRUE(capture.messages().empty());
}

}  // namespace
