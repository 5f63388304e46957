// The engine against the plain reference on real music.

#include <gtest/gtest.h>

#include <filesystem>

#include "support/expect_same_features.h"
#include "tool/input/sound_source.h"

namespace {

using namespace testing_support;

/// Some seconds of a track, as the tool decodes it.
Recording excerpt(const char* track, std::uint32_t from, std::uint32_t seconds) {
  const auto sound = audiomatch::openSound(std::filesystem::path(AUDIOMATCH_MUSIC) / track);
  const std::uint32_t rate = sound->sampleRate();
  Recording recording(0, sound->channels(), 0, rate);
  sound->skip(std::uint64_t{from} * rate);
  recording.shape.frames =
      static_cast<std::uint32_t>(sound->read(recording.pcm, std::size_t{seconds} * rate));
  return recording;
}

TEST(Recordings, FeaturesOfRealMusicEqualTheReference) {
  if (!std::filesystem::is_directory(AUDIOMATCH_MUSIC)) GTEST_SKIP() << "run scripts/music first";
  const std::vector<Recording> tracks = {
      excerpt("track1.ogg", 30, 12), excerpt("track16.ogg", 5, 7), excerpt("track30.ogg", 60, 9)};
  expectSameFeatures(false, tracks);
  expectSameFeatures(true, tracks);
}

}  // namespace
