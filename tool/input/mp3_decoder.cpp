#include "tool/input/mp3_decoder.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace audiomatch {
namespace {

// Bytes that aren't MPEG audio before libmpg123 gives up: few at the start,
// where they tell that the file is something else.
constexpr long kLookBehindDamage = 1L << 24;

// Frames of a shape of their own that random bytes may pass for, in a row.
constexpr int kMostStrangeFrames = 1000;

// Decoding at a fraction of the rate leaves out the higher subbands, and blurs the highest that
// is left: what the engine hears, up to half its rate, has to lie a few below that.
constexpr long kLeastReducedRate = 11'025;
constexpr long kMostReductions = 2;  // libmpg123 goes to a quarter

}  // namespace

std::unique_ptr<Mp3Decoder> Mp3Decoder::open(Descriptor descriptor, bool to_mono) {
  std::unique_ptr<Mp3Decoder> decoder(new Mp3Decoder(std::move(descriptor)));
  return decoder->openHandle(to_mono) ? std::move(decoder) : nullptr;
}

bool Mp3Decoder::openHandle(bool to_mono) {
  handle_.reset(mpg123_new(nullptr, nullptr));
  mpg123_handle* handle = handle_.get();
  if (!handle ||
      mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_FORCE_FLOAT, 0) != MPG123_OK ||
      !start() || mpg123_info(handle, &stream_) != MPG123_OK ||
      (to_mono && canReduce() && !reduce())) {
    return false;
  }
  frame_length_ = mpg123_spf(handle);
  mpg123_param(handle, MPG123_RESYNC_LIMIT, kLookBehindDamage, 0);
  // Only an encoder that notes its delay notes the exact length.
  long delay = -1;
  mpg123_getstate(handle, MPG123_ENC_DELAY, &delay, nullptr);
  if (delay >= 0) promised_ = static_cast<std::uint64_t>(std::max<off_t>(mpg123_length(handle), 0));
  return true;
}

/// Goes to the first frame.
bool Mp3Decoder::start() {
  int encoding = 0;
  return mpg123_open_fd(handle_.get(), descriptor_.get()) == MPG123_OK &&
         mpg123_getformat(handle_.get(), &rate_, &channels_, &encoding) == MPG123_OK;
}

/// Whether it needn't be decoded whole. A pipe can't be gone back in, and of layers I and II
/// libmpg123 takes one channel for the mix of both.
bool Mp3Decoder::canReduce() const {
  return stream_.layer == 3 && lseek(descriptor_.get(), 0, SEEK_CUR) >= 0;
}

/// Starts afresh with as many halvings of the rate as the engine's allows. As a format that is
/// wished for: of a reduction by itself a frame of another rate would be an error.
bool Mp3Decoder::reduce() {
  mpg123_handle* handle = handle_.get();
  while (reduction_ < kMostReductions && rate_ >> (reduction_ + 1) >= kLeastReducedRate)
    ++reduction_;
  return mpg123_close(handle) == MPG123_OK && lseek(descriptor_.get(), 0, SEEK_SET) == 0 &&
         mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_MONO_MIX, 0) == MPG123_OK &&
         mpg123_format_none(handle) == MPG123_OK &&
         mpg123_format(handle, rate_ >> reduction_, MPG123_MONO, MPG123_ENC_FLOAT_32) ==
             MPG123_OK &&
         start();
}

std::size_t Mp3Decoder::read(std::int16_t* samples, std::size_t frames) {
  // What the encoder filled the last frame up with is cut off by libmpg123 only
  // when no frame is missing.
  if (damaged_ && promised_ > 0) {
    frames = std::min<std::uint64_t>(frames, promised_ - std::min(promised_, position_));
  }
  std::size_t done = 0;
  while (done < frames && (!decoded_.empty() || decodeFrame()) && lost_ == 0) {
    const std::size_t count = std::min(frames - done, decoded_.size() / channels());
    std::ranges::transform(decoded_.first(count * channels()), samples + done * channels(),
                           toPcm16);
    decoded_ = decoded_.subspan(count * channels());
    done += count;
  }
  position_ += done;
  return done;
}

std::optional<std::uint64_t> Mp3Decoder::resume() {
  damaged_ = true;
  position_ += lost_;
  return std::exchange(lost_, 0);
}

/// Fills `decoded_`. False at the end.
bool Mp3Decoder::decodeFrame() {
  while (decoded_.empty()) {
    if (!nextFrame()) return false;
    off_t number = 0;
    unsigned char* bytes = nullptr;
    std::size_t size = 0;
    mpg123_framebyframe_decode(handle_.get(), &number, &bytes, &size);
    decoded_ = {reinterpret_cast<const float*>(bytes), size / sizeof(float)};
  }
  return true;
}

/// Goes to the next frame of the sound's own shape, and counts what is lost on
/// the way. False at the end.
bool Mp3Decoder::nextFrame() {
  mpg123_handle* handle = handle_.get();
  for (int strange = 0; strange < kMostStrangeFrames; ++strange) {
    // Opening has gone to the first frame already.
    const bool first = expected_ < 0 && strange == 0;
    const int outcome = first ? MPG123_OK : mpg123_framebyframe_next(handle);
    if (outcome != MPG123_OK && outcome != MPG123_NEW_FORMAT) return false;
    if (!isOfTheStream()) continue;
    unsigned long header = 0;
    unsigned char* body = nullptr;
    std::size_t body_size = 0;
    if (mpg123_framedata(handle, &header, &body, &body_size) != MPG123_OK) return false;
    const off_t place = mpg123_framepos(handle);
    const auto size = static_cast<off_t>(body_size + sizeof(std::uint32_t));
    if (expected_ >= 0 && place > expected_ && !isTag(expected_)) {
      // By the size that frames have on the average; one at least.
      const off_t lost = ((place - expected_) * frames_ + bytes_ / 2) / bytes_;
      lost_ = static_cast<std::uint64_t>(std::max<off_t>(lost, 1) * frame_length_) >> reduction_;
    }
    expected_ = place + size;
    bytes_ += size;
    ++frames_;
    return true;
  }
  return false;
}

/// Whether the current frame has the shape of the first one.
bool Mp3Decoder::isOfTheStream() const {
  mpg123_frameinfo frame{};
  return mpg123_info(handle_.get(), &frame) == MPG123_OK && frame.rate == stream_.rate &&
         (frame.mode == MPG123_M_MONO) == (stream_.mode == MPG123_M_MONO) &&
         mpg123_spf(handle_.get()) == frame_length_;
}

/// True for what isn't sound, but may stand between the frames.
bool Mp3Decoder::isTag(off_t place) const {
  std::array<char, 3> bytes{};
  if (pread(descriptor_.get(), bytes.data(), bytes.size(), place) < 3) return false;
  const std::string_view start(bytes.data(), bytes.size());
  return start == "ID3" || start == "TAG" || start == "APE";
}

}  // namespace audiomatch
