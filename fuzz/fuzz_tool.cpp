// The tool's readers: any bytes as a sound file, as the header of the database that is to
// be replaced, and as samples from a pipe.
//
// Input: u8 reader, the rest is its file. 0: sound file; 1: database; 2: pipe
// (u8 channels - 1, u8 frames of a packet - 1, then the bytes); 3: a recording
// of several parts (u16 rate - 800, u32 frames, u8 channels - 1, then its 8-bit
// samples, repeated).

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "fuzz/leftovers.h"
#include "fuzz/long_recording.h"
#include "fuzz/memory_file.h"
#include "match/database/byte_source.h"
#include "match/database/database_format.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/recording.h"
#include "tool/input/recording_parts.h"
#include "tool/input/sound_source.h"

namespace {

// What a few bytes decode to has no bounds in some formats.
constexpr std::size_t kMostSamples = std::size_t{1} << 20;

/// Reads up to the bounds, in uneven blocks. Returns whether that was all.
bool readThrough(const std::string& path) {
  const auto sound = audiomatch::openSound(path);
  FUZZ_REQUIRE(sound->sampleRate() >= 800 && sound->sampleRate() < 80'000);
  const std::size_t channels = sound->channels();
  std::vector<std::int16_t> samples;
  for (std::size_t block = 1; samples.size() < kMostSamples; block = block * 3 + 1) {
    const std::size_t wanted = std::min(block, kMostSamples / channels + 1);
    const std::size_t old_size = samples.size();
    const std::size_t came = sound->read(samples, wanted);
    FUZZ_REQUIRE(came <= wanted && samples.size() == old_size + came * channels);
    FUZZ_REQUIRE(sound->position() == samples.size() / channels);
    if (came < wanted) {
      FUZZ_REQUIRE(sound->skip(1) == 0);
      return true;
    }
  }
  return false;
}

void readSound(const std::string& path) {
  try {
    if (!readThrough(path)) return;
    const auto sound = audiomatch::openSound(path);
    audiomatch::PartReader parts(*sound);
    while (parts.next()) continue;
    audiomatch::readStretch(path, {0.01, 0.5});
    audiomatch::readRecording(path);
  } catch (const audiomatch::FileError&) {
  }
}

void readPipe(audiofuzz::FuzzInput& input, audiofuzz::MemoryFile& file) {
  const std::size_t channels = std::size_t{input.u8()} + 1, frames = std::size_t{input.u8()} + 1;
  const auto bytes = input.rest();
  file.assign(bytes);
  const int opened = open(file.path().c_str(), O_RDONLY | O_CLOEXEC);
  FUZZ_REQUIRE(dup2(opened, STDIN_FILENO) == STDIN_FILENO && close(opened) == 0);
  const audiomatch::InterruptGuard guard;
  const auto sound = audiomatch::openStandardInput(
      audiomatch::RawFormat{8000, static_cast<std::uint32_t>(channels)});
  std::vector<std::int16_t> samples;
  while (sound->read(samples, frames) == frames) continue;
  FUZZ_REQUIRE(sound->position() == bytes.size() / 2 / channels);
  FUZZ_REQUIRE(samples.size() == sound->position() * channels);
}

void readParts(audiofuzz::FuzzInput& input, audiofuzz::MemoryFile& file) {
  const audiofuzz::LongRecording recording(input);
  file.assign(recording.file());
  const auto sound = audiomatch::openSound(file.path());
  audiomatch::PartReader parts(*sound);
  std::uint64_t part = 0, end = 0;
  while (const auto audio = parts.next()) {
    const std::uint64_t start = audiomatch::partStart(part++, recording.rate());
    FUZZ_REQUIRE(start <= end && audio->channels() == recording.channels());
    recording.check(*audio, start);
    end = start + audio->dataLen();
  }
  FUZZ_REQUIRE(end == recording.frames());
  // No part was read for an overlap alone: its anchors belong to it.
  FUZZ_REQUIRE(part <= 1 || audiomatch::partStart(part - 1, recording.rate()) < end);
}

void readHeader(const std::string& path) {
  audio::FileSource source(path.c_str());
  FUZZ_REQUIRE(source.isOpen());
  audio::readHeader(source, nullptr);
}

}  // namespace

/// A program that is started for an input is no part of what is tested.
extern "C" int LLVMFuzzerInitialize(int*, char***) { return setenv("PATH", "/nowhere", 1); }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static audiofuzz::MemoryFile file;
  audiofuzz::beginRun(data, size);
  audiofuzz::FuzzInput input(data, size);
  const int descriptor = audiofuzz::nextDescriptor();
  switch (input.u8() & 3) {
    case 0:
      file.assign(input.rest());
      readSound(file.path());
      break;
    case 1:
      file.assign(input.rest());
      readHeader(file.path());
      break;
    case 2:
      readPipe(input, file);
      break;
    default:
      readParts(input, file);
  }
  FUZZ_REQUIRE(audiofuzz::nextDescriptor() == descriptor);
  return 0;
}
