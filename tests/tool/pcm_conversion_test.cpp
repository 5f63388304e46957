// Float samples as a recorder would have delivered them.

#include "tool/audio_reader.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/tool/tool_files.h"

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
    EXPECT_EQ(audiomatch::AudioReader(folder / name).read(samples, 100), floats.size());
    EXPECT_EQ(samples, expected) << name;
  }
}

}  // namespace
