#pragma once

#include <sndfile.h>

#include <memory>
#include <vector>

#include "tool/input/decoder.h"
#include "tool/input/descriptor.h"
#include "tool/input/raw_format.h"

namespace audiomatch {

/// Decodes what libsndfile knows.
class SndfileDecoder : public Decoder {
 public:
  /// @param descriptor  at its first byte
  ///
  /// @param raw  the shape of samples without a header
  /// @return null when it isn't sound that libsndfile can read
  static std::unique_ptr<SndfileDecoder> open(Descriptor descriptor,
                                              const std::optional<RawFormat>& raw = {});

  std::uint32_t sampleRate() const noexcept override {
    return static_cast<std::uint32_t>(info_.samplerate);
  }
  std::uint32_t channels() const noexcept override {
    return static_cast<std::uint32_t>(info_.channels);
  }
  std::uint64_t promisedFrames() const noexcept override { return promised_; }
  std::size_t read(std::int16_t* samples, std::size_t frames) override;
  std::string problem() override { return problem_; }
  std::optional<std::uint64_t> resume() override;

 private:
  struct Close {
    void operator()(SNDFILE* file) const noexcept { sf_close(file); }
  };

  explicit SndfileDecoder(Descriptor descriptor) noexcept : descriptor_(std::move(descriptor)) {}
  bool openFile();
  bool isOf(int container) const noexcept {
    return (info_.format & SF_FORMAT_TYPEMASK) == container;
  }
  std::size_t decode(std::int16_t* samples, std::size_t frames);
  sf_count_t openBehind(sf_count_t target);

  Descriptor descriptor_;  // stays open for opening the file again
  SF_INFO info_{};
  bool decodes_to_float_ = false;
  std::uint64_t promised_ = 0;
  std::unique_ptr<SNDFILE, Close> file_;
  std::vector<float> floats_;  // one block of a file that decodes to float
  std::uint64_t position_ = 0;
  std::size_t holes_ = 0;  // between the pages of an Ogg file, up to there
  std::string problem_;
  unsigned problems_ = 0;
};

}  // namespace audiomatch
