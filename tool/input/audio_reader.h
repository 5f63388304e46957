#pragma once

#include <sndfile.h>

#include "tool/input/feeder.h"
#include "tool/input/sound_source.h"

namespace audiomatch {

/// An open file or pipe that holds sound.
struct SoundInput {
  std::filesystem::path name;      ///< for messages
  int descriptor;                  ///< the reader closes it
  std::optional<RawFormat> raw;    ///< of samples without a header
  std::unique_ptr<Feeder> feeder;  ///< of a pipe, if it has one
};

/// Decodes what libsndfile knows, at the rate that it has.
class AudioReader : public SoundSource {
 public:
  /// Throws FileError when it isn't sound that libsndfile can read.
  AudioReader(SoundInput input, const SoundOptions& options);

  std::uint32_t sampleRate() const noexcept override {
    return static_cast<std::uint32_t>(info_.samplerate);
  }
  std::uint32_t channels() const noexcept override {
    return static_cast<std::uint32_t>(info_.channels);
  }
  std::uint64_t promisedFrames() const noexcept override;
  std::uint64_t position() const noexcept override { return position_; }
  std::size_t read(std::vector<std::int16_t>& samples, std::size_t frames) override;
  const std::optional<Damage>& damage() const noexcept override { return damage_; }

 private:
  struct Close {
    void operator()(SNDFILE* file) const noexcept { sf_close(file); }
  };

  std::size_t readBlock(std::int16_t* samples, std::size_t frames);
  void noteDamage(const std::string& text);

  std::filesystem::path name_;
  SoundOptions options_;
  std::unique_ptr<Feeder> feeder_;  // goes after the file that it feeds
  SF_INFO info_{};
  bool decodes_to_float_ = false;
  std::unique_ptr<SNDFILE, Close> file_;
  std::vector<float> floats_;  // one block of a file that decodes to float
  std::uint64_t position_ = 0;
  std::optional<Damage> damage_;
};

/// The 16-bit sample that a recorder makes of a decoded one: times 32767, to
/// the nearest integer (halves away from zero), cut to what 16 bits hold. What
/// isn't a number is silence.
std::int16_t toPcm16(float sample) noexcept;

}  // namespace audiomatch
