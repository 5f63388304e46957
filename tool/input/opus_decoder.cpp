#include "tool/input/opus_decoder.h"

#include <algorithm>

#include "tool/input/ogg_end.h"

namespace audiomatch {
namespace {

// A file that is nothing but damage mustn't take for ever.
constexpr unsigned kMostProblems = 1000;

}  // namespace

std::unique_ptr<OpusDecoder> OpusDecoder::open(Descriptor descriptor) {
  auto decoder = std::make_unique<OpusDecoder>();
  decoder->end_is_there_ = oggEndIsThere(descriptor);
  OpusFileCallbacks callbacks;
  void* stream = op_fdopen(&callbacks, descriptor.get(), "rb");
  if (!stream) return nullptr;
  descriptor.release();
  decoder->file_.reset(op_open_callbacks(stream, &callbacks, nullptr, 0, nullptr));
  OggOpusFile* file = decoder->file_.get();
  if (!file) {
    callbacks.close(stream);
    return nullptr;
  }
  decoder->channels_ = static_cast<std::uint32_t>(op_channel_count(file, -1));
  decoder->promised_ = static_cast<std::uint64_t>(std::max<ogg_int64_t>(op_pcm_total(file, -1), 0));
  return decoder;
}

std::size_t OpusDecoder::read(std::int16_t* samples, std::size_t frames) {
  problem_.clear();
  std::size_t done = 0;
  while (done < frames) {
    const std::size_t came = readSome(samples + done * channels_, frames - done);
    if (came == 0) break;
    done += came;
  }
  return done;
}

std::size_t OpusDecoder::readSome(std::int16_t* samples, std::size_t frames) {
  // At most a packet, of 120 ms, comes at a time.
  floats_.resize(std::min<std::size_t>(frames, 5760) * channels_);
  int link = 0;
  const int came =
      op_read_float(file_.get(), floats_.data(), static_cast<int>(floats_.size()), &link);
  if (came == OP_HOLE) {
    problem_ = "pages are missing";
  } else if (came < 0) {
    problem_ = "data that can't be decoded";
  } else if (came > 0 && op_channel_count(file_.get(), link) != static_cast<int>(channels_)) {
    problem_ = "the number of channels changes";
    problems_ = kMostProblems;
  }
  if (came == 0 && !end_is_there_) problem_ = kOggEndMissing;
  if (!problem_.empty() || came <= 0) return 0;
  const auto count = static_cast<std::size_t>(came);
  std::transform(floats_.begin(), floats_.begin() + static_cast<std::ptrdiff_t>(count * channels_),
                 samples, toPcm16);
  position_ += count;
  return count;
}

std::optional<std::uint64_t> OpusDecoder::resume() {
  if (++problems_ > kMostProblems || problem_ == kOggEndMissing) return {};
  const auto place = static_cast<std::uint64_t>(std::max<ogg_int64_t>(op_pcm_tell(file_.get()), 0));
  const std::uint64_t missing = place - std::min(place, position_);
  position_ += missing;
  return missing;
}

}  // namespace audiomatch
