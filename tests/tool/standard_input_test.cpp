// Sound that comes through standard input.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <thread>

#include "tests/tool/tool_files.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/sound_source.h"

namespace {

using audiomatch::openStandardInput;
using audiomatch::RawFormat;

/// A pipe in the place of standard input.
class Pipe {
 public:
  Pipe() : kept_(dup(STDIN_FILENO)) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0 || dup2(ends[0], STDIN_FILENO) < 0) std::abort();
    close(ends[0]);
    end_ = ends[1];
  }
  ~Pipe() {
    finish();
    dup2(kept_, STDIN_FILENO);
    close(kept_);
  }
  void put(const std::string& bytes) const {
    ASSERT_EQ(write(end_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  void finish() {
    if (end_ >= 0) close(std::exchange(end_, -1));
  }

 private:
  int kept_;
  int end_ = -1;
};

std::vector<std::int16_t> countUp(std::size_t frames) {
  std::vector<std::int16_t> samples(frames);
  for (std::size_t i = 0; i < frames; ++i) samples[i] = static_cast<std::int16_t>(i * 257);
  return samples;
}

TEST(StandardInput, TakesEveryRawEncoding) {
  // Each is 0x1234 / 0x8000, as exactly as it can be, then the most negative.
  const std::pair<const char*, std::string> encodings[] = {
      {"s16le", {"\x34\x12\x00\x80", 4}},
      {"s16be", {"\x12\x34\x80\x00", 4}},
      {"s24le", {"\xFF\x34\x12\x00\x00\x80", 6}},
      {"s24be", {"\x12\x34\xFF\x80\x00\x00", 6}},
      {"s32le", {"\xFF\xFF\x34\x12\x00\x00\x00\x80", 8}},
      {"s32be", {"\x12\x34\xFF\xFF\x80\x00\x00\x00", 8}},
      {"f32le", {"\x00\xA0\x11\x3E\x00\x00\x80\xBF", 8}},
      {"f32be", {"\x3E\x11\xA0\x00\xBF\x80\x00\x00", 8}},
      {"f64le", {"\x00\x00\x00\x00\x00\x34\xC2\x3F\x00\x00\x00\x00\x00\x00\xF0\xBF", 16}},
      {"f64be", {"\x3F\xC2\x34\x00\x00\x00\x00\x00\xBF\xF0\x00\x00\x00\x00\x00\x00", 16}},
      {"s8", {"\x12\x80", 2}},
      {"u8", {"\x92\x00", 2}},
      {"alaw", {"\x87\x2A", 2}},
      {"mulaw", {"\xAD\x00", 2}}};
  EXPECT_EQ(audiomatch::rawEncodings().size(), std::size(encodings));
  for (const auto& [name, bytes] : encodings) {
    Pipe pipe;
    pipe.put(bytes);
    pipe.finish();
    const auto sound = openStandardInput(RawFormat{96'000 / 2, 1, name});
    std::vector<std::int16_t> samples;
    ASSERT_EQ(sound->read(samples, 10), 2u) << name;
    EXPECT_NEAR(samples[0], 0x1234, 160) << name;
    EXPECT_NEAR(samples[1], -32'768, 700) << name;
  }
}

TEST(StandardInput, GivesFramesAsTheyCome) {
  const testing_support::TemporaryFolder folder;
  testing_support::writeWav(folder / "a.wav", SF_FORMAT_PCM_16, 8000, countUp(2000));
  const std::string bytes = testing_support::contents(folder / "a.wav");
  for (const bool raw : {false, true}) {
    Pipe pipe;
    pipe.put(bytes.substr(raw ? 44 : 0, raw ? 2000 : 2044));
    const auto sound =
        openStandardInput(raw ? std::optional(RawFormat{8000, 1, "s16le"}) : std::nullopt);
    std::vector<std::int16_t> samples;
    // The pipe is still open: a read for more would wait.
    EXPECT_EQ(sound->read(samples, 900), 900u);
    EXPECT_EQ(sound->read(samples, 100), 100u);
    pipe.put(bytes.substr(2044));
    pipe.finish();
    EXPECT_EQ(sound->read(samples, 5000), 1000u);
    EXPECT_EQ(samples, countUp(2000));
    EXPECT_FALSE(sound->damage());
  }
}

TEST(StandardInput, TakesSoundFilesThatAFileGivesToo) {
  for (const int format :
       {SF_FORMAT_AU | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
        SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_OGG | SF_FORMAT_OPUS,
        SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, SF_FORMAT_FLAC | SF_FORMAT_PCM_16}) {
    SCOPED_TRACE(format);
    const testing_support::TemporaryFolder folder;
    testing_support::writeSound(folder / "a", format, 48'000, countUp(100'000));
    std::vector<std::int16_t> expected, samples;
    audiomatch::openSound(folder / "a")->read(expected, SIZE_MAX);
    Pipe pipe;
    std::thread writer([&] {
      pipe.put(testing_support::contents(folder / "a"));
      pipe.finish();
    });
    const auto sound = openStandardInput({});
    sound->read(samples, SIZE_MAX);
    writer.join();
    EXPECT_FALSE(sound->damage());
    ASSERT_EQ(samples.size(), expected.size());
    // FLAC comes through ffmpeg, as floats.
    for (std::size_t i = 0; i < samples.size() && !HasFailure(); ++i) {
      EXPECT_NEAR(samples[i], expected[i], 1) << i;
    }
  }
}

TEST(StandardInput, EndsASoundThatWaitsWhenASignalComes) {
  Pipe pipe;
  const audiomatch::InterruptGuard guard;
  const auto sound = openStandardInput(RawFormat{});
  std::thread user([] { kill(getpid(), SIGINT); });
  std::vector<std::int16_t> samples;
  EXPECT_THROW(sound->read(samples, 1), audiomatch::Interrupted);
  user.join();
}

TEST(StandardInput, TellsWhatItIsNot) {
  for (const char* text : {"", "no music at all"}) {
    Pipe pipe;
    pipe.put(text);
    pipe.finish();
    EXPECT_THROW(openStandardInput({}), audiomatch::FileError);
  }
}

}  // namespace
