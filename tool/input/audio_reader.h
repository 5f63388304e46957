#pragma once

#include "tool/input/decoder.h"
#include "tool/input/feeder.h"
#include "tool/input/sound_source.h"

namespace audiomatch {

/// Reads what a decoder makes of a file or pipe: notes its damage, goes on
/// behind it, and puts silence where frames are missing, so that those behind
/// them stay at their time.
class AudioReader : public SoundSource {
 public:
  /// @param name    of the file, for messages
  /// @param feeder  what fills the pipe that the decoder reads, or null
  AudioReader(std::filesystem::path name, std::unique_ptr<Decoder> decoder,
              std::unique_ptr<Feeder> feeder, const SoundOptions& options);

  std::uint32_t sampleRate() const noexcept override { return decoder_->sampleRate(); }
  std::uint32_t channels() const noexcept override { return decoder_->channels(); }
  std::uint64_t promisedFrames() const noexcept override { return decoder_->promisedFrames(); }
  std::uint64_t position() const noexcept override { return position_; }
  std::size_t read(std::vector<std::int16_t>& samples, std::size_t frames) override;
  const std::optional<Damage>& damage() const noexcept override { return damage_; }

 private:
  std::size_t readBlock(std::int16_t* samples, std::size_t frames);
  void comeToStop();
  void comeToEnd();
  void noteDamage(const std::string& text);

  std::filesystem::path name_;
  SoundOptions options_;
  std::unique_ptr<Feeder> feeder_;  // goes after the decoder that it feeds
  std::unique_ptr<Decoder> decoder_;
  std::uint64_t position_ = 0;
  std::uint64_t missing_ = 0;  // frames of silence to come next
  double silence_ = 0.0;       // put in so far, in seconds
  bool anything_ = false;      // was decoded
  bool ended_ = false;
  std::optional<Damage> damage_;
};

}  // namespace audiomatch
