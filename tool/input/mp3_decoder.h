#pragma once

#include <mpg123.h>

#include <memory>
#include <span>

#include "tool/input/decoder.h"
#include "tool/input/descriptor.h"

namespace audiomatch {

/// Decodes MPEG audio, MP3 above all, frame by frame. libmpg123 alone tells
/// where it lost its way in a damaged file, and can be told to keep quiet about
/// it; behind libsndfile it writes to standard error.
class Mp3Decoder : public Decoder {
 public:
  /// @param to_mono  of a file of layer III, mix the channels and decode no more than the
  ///                 engine's rate needs: a half or a quarter of the samples, without what
  ///                 lies above. Others are decoded whole
  /// @return null when it isn't MPEG audio
  static std::unique_ptr<Mp3Decoder> open(Descriptor descriptor, bool to_mono);

  std::uint32_t sampleRate() const noexcept override { return static_cast<std::uint32_t>(rate_); }
  std::uint32_t channels() const noexcept override { return static_cast<std::uint32_t>(channels_); }
  std::uint64_t promisedFrames() const noexcept override { return promised_; }
  std::size_t read(std::int16_t* samples, std::size_t frames) override;
  std::string problem() override { return lost_ > 0 ? "data that isn't MPEG audio" : ""; }
  std::optional<std::uint64_t> resume() override;

 private:
  struct Close {
    void operator()(mpg123_handle* handle) const noexcept { mpg123_delete(handle); }
  };

  explicit Mp3Decoder(Descriptor descriptor) noexcept : descriptor_(std::move(descriptor)) {}
  bool openHandle(bool to_mono);
  bool start();
  bool canReduce() const;
  bool reduce();
  bool isOfTheStream() const;
  bool decodeFrame();
  bool nextFrame();
  bool isTag(off_t place) const;

  Descriptor descriptor_;
  std::unique_ptr<mpg123_handle, Close> handle_;
  mpg123_frameinfo stream_{};  // of its first frame
  long rate_ = 0;              // decoded
  int channels_ = 0;           // decoded
  int frame_length_ = 0;       // of one of the stream's, in its samples
  long reduction_ = 0;         // the stream's rate is so many powers of 2 higher
  std::uint64_t promised_ = 0;
  off_t expected_ = -1;  // where the next frame has to begin; -1 for anywhere
  off_t bytes_ = 0;      // of the frames so far
  off_t frames_ = 0;
  std::uint64_t position_ = 0;  // behind the frames read and lost
  bool damaged_ = false;
  std::uint64_t lost_ = 0;          // sample frames that are missing before `decoded_`
  std::span<const float> decoded_;  // of the current frame, not yet read
};

}  // namespace audiomatch
