#pragma once

#include <opusfile.h>

#include <memory>
#include <vector>

#include "tool/input/decoder.h"
#include "tool/input/descriptor.h"

namespace audiomatch {

/// Decodes Ogg Opus by the format's own library: libsndfile drops packets of
/// files whose times are off by some samples, as ffmpeg makes them.
class OpusDecoder : public Decoder {
 public:
  /// @return null when it isn't Ogg Opus
  static std::unique_ptr<OpusDecoder> open(Descriptor descriptor);

  std::uint32_t sampleRate() const noexcept override { return 48'000; }
  std::uint32_t channels() const noexcept override { return channels_; }
  std::uint64_t promisedFrames() const noexcept override { return promised_; }
  std::size_t read(std::int16_t* samples, std::size_t frames) override;
  std::string problem() override { return problem_; }
  std::optional<std::uint64_t> resume() override;

 private:
  struct Close {
    void operator()(OggOpusFile* file) const noexcept { op_free(file); }
  };

  std::size_t readSome(std::int16_t* samples, std::size_t frames);

  std::unique_ptr<OggOpusFile, Close> file_;
  bool end_is_there_ = true;
  std::uint32_t channels_ = 0;
  std::uint64_t promised_ = 0;
  std::uint64_t position_ = 0;  // by the frames read
  std::vector<float> floats_;
  std::string problem_;
  unsigned problems_ = 0;
};

}  // namespace audiomatch
