#pragma once

#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace audiomatch {

/// Decodes a sound file from front to back into interleaved 16-bit samples:
/// what a phone's recorder would have delivered. One thread at a time; several
/// readers may run on several threads.
class AudioReader {
 public:
  /// Opens a file. Throws FileError when it can't be read, isn't a sound file,
  /// or has a rate that the engine doesn't take.
  explicit AudioReader(const std::filesystem::path& path);

  std::uint32_t sampleRate() const noexcept { return static_cast<std::uint32_t>(info_.samplerate); }
  std::uint32_t channels() const noexcept { return static_cast<std::uint32_t>(info_.channels); }
  /// Frames that the file's header promises. There may be more or fewer.
  std::uint64_t promisedFrames() const noexcept;
  /// Samples to make room for before up to `frames` more frames are read: those
  /// promised, within bounds, as a damaged header promises anything.
  std::size_t roomFor(std::uint64_t frames) const noexcept;
  /// Frames read and skipped so far.
  std::uint64_t position() const noexcept { return position_; }

  /// Appends up to `frames` frames to `samples`. Returns how many came; fewer
  /// than asked for only at the end. Throws FileError when the file is damaged.
  std::size_t read(std::vector<std::int16_t>& samples, std::size_t frames);

  /// Drops up to `frames` frames by decoding them, which is exact in every
  /// format; returns how many there were.
  std::uint64_t skip(std::uint64_t frames);

 private:
  struct Close {
    void operator()(SNDFILE* file) const noexcept { sf_close(file); }
  };

  std::size_t readBlock(std::int16_t* samples, std::size_t frames);

  std::filesystem::path path_;
  SF_INFO info_{};
  bool decodes_to_float_ = false;
  std::unique_ptr<SNDFILE, Close> file_;
  std::vector<float> floats_;  // one block of a file that decodes to float
  std::uint64_t position_ = 0;
};

/// The 16-bit sample that a recorder makes of a decoded one: times 32767, to
/// the nearest integer (halves away from zero), cut to what 16 bits hold. What
/// isn't a number is silence.
std::int16_t toPcm16(float sample) noexcept;

}  // namespace audiomatch
