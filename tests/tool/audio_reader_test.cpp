// Files as a recorder would have delivered them, and files that lie.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/tool/tool_files.h"
#include "tool/base/errors.h"
#include "tool/input/decoder.h"
#include "tool/input/rate_reducer.h"
#include "tool/input/recording.h"
#include "tool/input/sound_source.h"

namespace {

constexpr int kFlac = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
constexpr int kVorbis = SF_FORMAT_OGG | SF_FORMAT_VORBIS;
constexpr int kOpus = SF_FORMAT_OGG | SF_FORMAT_OPUS;
constexpr int kMp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;

std::vector<std::int16_t> noise(std::size_t frames) {
  std::minstd_rand random(1);
  std::vector<std::int16_t> samples(frames);
  for (std::int16_t& sample : samples) sample = static_cast<std::int16_t>(random() % 16384);
  return samples;
}

/// What a reader makes of a file, from a frame on.
struct Sound {
  std::vector<std::int16_t> samples;
  std::optional<audiomatch::Damage> damage;
};
Sound soundOf(const std::filesystem::path& path, std::uint64_t from = 0) {
  const auto source = audiomatch::openSound(path);
  source->skip(from);
  Sound sound;
  source->read(sound.samples, SIZE_MAX);
  sound.damage = source->damage();
  EXPECT_EQ(source->position(), from + sound.samples.size() / source->channels());
  return sound;
}

TEST(PcmConversion, RoundsAndCutsAsARecorderDoes) {
  // 0.5 is 16383.5: halves go away from zero. 0.25 is 8191.75.
  const std::vector<float> floats = {
      0,   1,    -1,    1.5f,  -1.5f,         INFINITY,      -INFINITY,
      NAN, 0.5f, -0.5f, 0.25f, 0.49f / 32767, -0.51f / 32767};
  const std::vector<std::int16_t> expected = {0, 32767, -32767, 32767, -32768, 32767, -32768,
                                              0, 16384, -16384, 8192,  0,      -1};
  std::vector<std::int16_t> converted;
  for (const float sample : floats) converted.push_back(audiomatch::toPcm16(sample));
  EXPECT_EQ(converted, expected);

  // A reader uses it for float files and nothing but them.
  const testing_support::TemporaryFolder folder;
  testing_support::writeWav(folder / "float.wav", SF_FORMAT_FLOAT, 8000, floats);
  testing_support::writeWav(folder / "short.wav", SF_FORMAT_PCM_16, 8000, expected);
  for (const char* name : {"float.wav", "short.wav"}) {
    std::vector<std::int16_t> samples;
    EXPECT_EQ(audiomatch::openSound(folder / name)->read(samples, 100), floats.size());
    EXPECT_EQ(samples, expected) << name;
  }
}

TEST(AudioReader, MakesNoRoomForWhatAHeaderOnlyPromises) {
  const testing_support::TemporaryFolder folder;
  const std::filesystem::path path = folder / "lying.flac";
  testing_support::writeSound(path, kFlac, 8000, noise(4000));
  EXPECT_EQ(audiomatch::openSound(path)->roomFor(10000), 4000u);
  // 36 bits behind the sample rate count the file's samples: all of them set.
  std::string bytes = testing_support::contents(path);
  bytes[21] = static_cast<char>(bytes[21] | 0x0F);
  bytes.replace(22, 4, "\xFF\xFF\xFF\xFF");
  std::ofstream(path, std::ios::binary) << bytes;
  const auto lying = audiomatch::openSound(path);
  EXPECT_GT(lying->promisedFrames(), std::uint64_t{1} << 35);
  EXPECT_EQ(lying->roomFor(UINT64_MAX), std::size_t{1} << 22);
  EXPECT_EQ(lying->roomFor(100), 100u);
  EXPECT_EQ(audiomatch::readRecording(path).audio->dataLen(), 4000u);
}

/// Writes ten seconds of noise, and a copy with some bytes in the middle changed.
void writePair(const testing_support::TemporaryFolder& folder, int format) {
  testing_support::writeSound(folder / "whole", format, 48'000, noise(480'000));
  std::string bytes = testing_support::contents(folder / "whole");
  // Ones, as zeros would be sound in FLAC's frames.
  bytes.replace(bytes.size() / 2, 1500, 1500, '\xFF');
  std::ofstream(folder / "damaged", std::ios::binary) << bytes;
}

TEST(DamagedSound, KeepsItsTimeBehindTheDamage) {
  for (const int format : {kFlac, kVorbis, kOpus, kMp3}) {
    SCOPED_TRACE(format);
    const testing_support::TemporaryFolder folder;
    writePair(folder, format);
    const Sound whole = soundOf(folder / "whole");
    const Sound damaged = soundOf(folder / "damaged");
    EXPECT_FALSE(whole.damage);
    ASSERT_TRUE(damaged.damage);
    EXPECT_NEAR(damaged.damage->second, 5.0, 1.1);  // a page of Ogg holds a second
    ASSERT_EQ(damaged.samples.size(), whole.samples.size());
    // Everything but about a second around the damage is as it was.
    std::size_t different = 0;
    for (std::size_t i = 0; i < whole.samples.size(); ++i) {
      different += std::abs(whole.samples[i] - damaged.samples[i]) > 100;
    }
    EXPECT_GT(different, 0u);
    EXPECT_LT(different, 100'000u);
    EXPECT_THROW(audiomatch::openSound(folder / "damaged", {.strict = true})->skip(UINT64_MAX),
                 audiomatch::FileError);
  }
}

// libsndfile says of an Ogg file without an end that it lasts for ever, and looking for what stands
// behind a hole has to end all the same. A page out of turn makes the hole.
TEST(DamagedSound, EndsWhereNobodyKnowsHowLongItLasts) {
  const testing_support::TemporaryFolder folder;
  testing_support::writeSound(folder / "sound", kVorbis, 48'000, noise(480'000));
  std::string bytes = testing_support::contents(folder / "sound");
  const std::size_t headers = bytes.find("OggS", 4);
  const std::size_t sound = bytes.find("OggS", headers + 4);
  const std::string out_of_turn = bytes.substr(headers, sound - headers);
  bytes.resize(bytes.find("OggS", bytes.size() / 2));
  std::ofstream(folder / "sound", std::ios::binary) << bytes << out_of_turn << "OggS";
  const Sound damaged = soundOf(folder / "sound");
  ASSERT_TRUE(damaged.damage);
  EXPECT_NEAR(damaged.damage->second, 5.0, 1.1);
  EXPECT_EQ(damaged.damage->second, static_cast<double>(damaged.samples.size()) / 48'000);
}

TEST(DamagedSound, IsNoticedWhereAFileIsCut) {
  for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_24,
                           SF_FORMAT_AU | SF_FORMAT_ULAW, kFlac, kVorbis, kOpus, kMp3}) {
    SCOPED_TRACE(format);
    const testing_support::TemporaryFolder folder;
    testing_support::writeSound(folder / "cut", format, 48'000, noise(480'000));
    EXPECT_FALSE(soundOf(folder / "cut").damage);
    std::filesystem::resize_file(folder / "cut", std::filesystem::file_size(folder / "cut") / 2);
    const Sound cut = soundOf(folder / "cut");
    ASSERT_TRUE(cut.damage);
    EXPECT_NEAR(cut.damage->second, 5.0, 1.1);
    EXPECT_EQ(cut.damage->second, static_cast<double>(cut.samples.size()) / 48'000);
  }
}

TEST(DamagedSound, IsNotWhatAPipeLeavesUnknown) {
  // The lengths that programs write into a WAV file before they know it.
  for (const std::uint32_t length : {0xFFFFFFFFu, 0x7FFFFFFFu, 0x7FFFF000u, 0x80000000u}) {
    const testing_support::TemporaryFolder folder;
    testing_support::writeWav(folder / "a.wav", SF_FORMAT_PCM_16, 8000, noise(8000));
    std::string bytes = testing_support::contents(folder / "a.wav");
    for (std::size_t i = 0; i < 4; ++i) bytes[40 + i] = static_cast<char>(length >> (8 * i));
    std::ofstream(folder / "a.wav", std::ios::binary) << bytes;
    const Sound sound = soundOf(folder / "a.wav");
    EXPECT_EQ(sound.samples, noise(8000));
    EXPECT_FALSE(sound.damage) << length;
  }
}

TEST(HighRates, AreReducedInTime) {
  using audiomatch::reducedRate;
  const std::pair<std::uint32_t, std::uint32_t> rates[] = {
      {80'000, 40'000},  {88'200, 44'100},  {96'000, 48'000},  {100'003, 48'000},
      {176'400, 58'800}, {192'000, 64'000}, {384'000, 76'800}, {768'000, 76'800}};
  for (const auto& [rate, reduced] : rates) {
    EXPECT_EQ(reducedRate(rate), reduced);
    // A sine of 500 Hz for a second, and one frame more.
    std::vector<std::int16_t> sine(rate + 1);
    for (std::size_t i = 0; i < sine.size(); ++i) {
      sine[i] = static_cast<std::int16_t>(
          std::lround(20'000 * std::sin(2 * M_PI * 500 * static_cast<double>(i) / rate)));
    }
    const testing_support::TemporaryFolder folder;
    testing_support::writeWav(folder / "a.wav", SF_FORMAT_PCM_16, static_cast<int>(rate), sine);
    const auto source = audiomatch::openSound(folder / "a.wav");
    EXPECT_EQ(source->sampleRate(), reduced);
    EXPECT_EQ(source->promisedFrames(), reduced + 1);
    const std::vector<std::int16_t> samples = soundOf(folder / "a.wav").samples;
    ASSERT_EQ(samples.size(), reduced + 1);
    // The filter needs some frames on both sides.
    double worst = 0;
    for (std::size_t i = 500; i < reduced - 500; ++i) {
      const double angle = 2 * M_PI * 500 * static_cast<double>(i) / reduced;
      worst = std::max(worst, std::abs(samples[i] - 20'000 * std::sin(angle)));
    }
    EXPECT_LT(worst, 20) << rate;
    const std::vector<std::int16_t> rest(samples.begin() + 12'345, samples.end());
    EXPECT_EQ(soundOf(folder / "a.wav", 12'345).samples, rest);
  }
}

TEST(Rates, OutsideAreRefused) {
  for (const int rate : {799, 768'001}) {
    const testing_support::TemporaryFolder folder;
    testing_support::writeWav(folder / "a.wav", SF_FORMAT_PCM_16, rate, noise(8000));
    EXPECT_THROW(audiomatch::openSound(folder / "a.wav"), audiomatch::FileError) << rate;
  }
}

}  // namespace
