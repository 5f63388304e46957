// Listening, as far as a whole tool isn't needed: silences, attributes of live channels.

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "base/logger.h"
#include "feature/audio_feature.h"
#include "match/database/packed_entry.h"
#include "tool/recognition/live_channels.h"
#include "tool/recognition/loudness.h"

namespace {

using audiomatch::LiveChannels;
using audiomatch::SilenceFinder;
using audiomatch::Taken;

TEST(Silence, IsFoundAcrossPiecesAndForgotten) {
  SilenceFinder finder(8000, 2);
  // Two seconds of hum, three of something 70 dB below full scale, one of hum.
  std::vector<std::int16_t> sound(6 * 16000, 3000);
  std::fill(sound.begin() + 2 * 16000, sound.begin() + 5 * 16000, std::int16_t{10});
  for (std::size_t at = 0; at < sound.size(); at += 1002) {
    finder.add(std::span(sound).subspan(at, std::min<std::size_t>(1002, sound.size() - at)));
  }
  ASSERT_EQ(finder.since(0.0).size(), 1u);
  EXPECT_EQ(finder.since(0.0)[0].from, 2.0);
  EXPECT_EQ(finder.since(4.9)[0].to, 5.0);
  EXPECT_TRUE(finder.since(5.0).empty());
}

/// Features every ten frames from `first` on, their keys in runs of three.
std::vector<audio::AudioFeature> features(std::uint32_t first, std::uint32_t count) {
  std::vector<audio::AudioFeature> list;
  for (std::uint32_t i = 0; i < count; ++i) list.push_back({first + 10 * i, 1000 + i / 3});
  return list;
}

std::vector<audio::AudioAttribute> attributes(const std::vector<audio::AudioFeature>& features,
                                              std::uint32_t stream, std::uint32_t later) {
  std::vector<audio::AudioAttribute> list;
  for (const auto& feature : features) {
    list.push_back({audio::packEntry(stream, feature.startTime + later), feature.hashKey});
  }
  return list;
}

TEST(LiveChannels, CountsEveryFeatureOnceAndTellsTheTime) {
  audio::gLogger.setEnabled(false);
  LiveChannels channels({12, 0.35});
  const audiomatch::ChannelSession a{"a", {.update = 1, .monitor = 10}, "1"};
  audiomatch::ChannelSession b{"b", {.update = 1, .monitor = 10}, "1"};
  const auto heard = features(5, 60);
  EXPECT_TRUE(channels.find(heard).candidates.empty());
  // Channel b played it 64 frames, two updates, after its time code's end: the
  // code wraps. Whatever the attributes call their stream, they are b's.
  const std::uint32_t end = 1u << audio::kEntryTimeBits;
  const auto played = attributes(heard, 77, end + 64);
  EXPECT_EQ(channels.apply(1, b, 512 + 6, {played.begin(), played.begin() + 50}), Taken::kBegins);
  EXPECT_EQ(channels.apply(1, b, 512 + 7, {played.begin() + 50, played.end()}), Taken::kGoesOn);
  EXPECT_EQ(channels.apply(0, a, 3, attributes(features(900, 6), 0, 7)), Taken::kBegins);
  const audiomatch::ChannelAnswer answer = channels.find(heard);
  EXPECT_TRUE(answer.recognised);
  const audiomatch::HeardOn& best = answer.candidates.at(0);
  EXPECT_EQ(best.name, "b");
  EXPECT_EQ(best.agreeing, 60);
  // It began at code 64; the latest analysis starts at 7 x 32 and lasts 5 s.
  EXPECT_NEAR(best.seconds_ago, 5.0 + 5.0, 0.05);
  // The same of one that began within the latest analysis, at its code 16.
  auto late = features(31, 14);
  for (audio::AudioFeature& feature : late) feature.hashKey += 500;
  channels.apply(2, {"c", b.periods, "1"}, 512, attributes(late, 2, end + 16));
  EXPECT_NEAR(channels.find(late).candidates.at(0).seconds_ago, 4.5, 0.05);
  EXPECT_TRUE(channels.end(2));
  // A message that comes twice counts once, and what is older than ten seconds not at all.
  channels.apply(1, b, 512 + 7, {played.begin() + 50, played.end()});
  EXPECT_EQ(channels.list().at(1).attributes, 60u);
  channels.apply(1, b, 512 + 16, {});
  EXPECT_EQ(channels.find(heard).candidates.at(0).agreeing, 10);
  b.key += '2';
  EXPECT_EQ(channels.apply(1, b, 0, {played.begin(), played.begin() + 20}), Taken::kBegins);
  EXPECT_EQ(channels.find(heard).candidates.at(0).agreeing, 20);
  EXPECT_TRUE(channels.endSilent().empty());
  // Who has been replaced neither goes on nor ends what replaced him.
  EXPECT_EQ(channels.apply(1, {"b", b.periods, "1"}, 512 + 17, played), Taken::kReplaced);
  EXPECT_FALSE(channels.end(1, "1"));
  EXPECT_EQ(channels.held().attributes, 26u);
  EXPECT_TRUE(channels.end(1, b.key));
  EXPECT_FALSE(channels.end(1));
  const audiomatch::ChannelAnswer without = channels.find(heard);
  EXPECT_TRUE(without.candidates.empty() || without.candidates[0].name == "a");
}

TEST(LiveChannels, HoldNoMoreThanTheirBounds) {
  audio::gLogger.setEnabled(false);
  LiveChannels channels({12, 0.35}, {.channels = 2, .attributes = 100});
  const auto session = [](const char* key) {
    return audiomatch::ChannelSession{"name", {.update = 1, .monitor = 2}, key};
  };
  const auto some = [](std::uint32_t count) { return attributes(features(0, count), 0, 0); };
  EXPECT_EQ(channels.apply(1, session("a"), 0, some(60)), Taken::kBegins);
  EXPECT_EQ(channels.apply(2, session("a"), 0, some(30)), Taken::kBegins);
  EXPECT_THROW(channels.apply(3, session("a"), 0, some(1)), std::length_error);
  EXPECT_THROW(channels.apply(2, session("a"), 1, some(11)), std::length_error);
  EXPECT_THROW(channels.apply(2, session("b"), 1, some(41)), std::length_error);
  // What was refused changed nothing, and what leaves makes room.
  EXPECT_EQ(channels.held().attributes, 90u);
  EXPECT_EQ(channels.apply(1, session("a"), 1, some(10)), Taken::kGoesOn);
  EXPECT_EQ(channels.apply(1, session("a"), 2, some(60)), Taken::kGoesOn);
  EXPECT_EQ(channels.apply(2, session("b"), 0, some(30)), Taken::kBegins);
  EXPECT_EQ(channels.held().attributes, 100u);
  EXPECT_EQ(channels.find(features(0, 60)).candidates.at(0).agreeing, 10 + 60);
  // Two thousand features of a key that was played two thousand times.
  LiveChannels roomy({12, 0.35});
  std::vector<audio::AudioAttribute> hot(2000, {0, 5});
  std::vector<audio::AudioFeature> plenty(2001);
  for (std::uint32_t i = 0; i < plenty.size(); ++i) plenty[i] = {i, 5};
  roomy.apply(1, session("a"), 0, hot);
  EXPECT_THROW(roomy.find(plenty), std::length_error);
}

}  // namespace
