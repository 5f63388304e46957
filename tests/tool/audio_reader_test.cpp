// Files as a recorder would have delivered them, and files that lie.

#include "tool/input/audio_reader.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/tool/tool_files.h"
#include "tool/input/decoder.h"
#include "tool/input/recording.h"

namespace {

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
  SF_INFO info{0, 8000, 1, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 0, 0};
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  std::vector<std::int16_t> noise(4000);
  for (std::size_t i = 0; i < noise.size(); ++i) {
    noise[i] = static_cast<std::int16_t>(i * 7919 % 20011);
  }
  sf_write_short(file, noise.data(), static_cast<sf_count_t>(noise.size()));
  sf_close(file);
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

}  // namespace
