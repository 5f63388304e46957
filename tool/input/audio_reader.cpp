#include "tool/input/audio_reader.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <mutex>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"

namespace audiomatch {
namespace {

constexpr std::size_t kBlockFrames = 8192;

/// True for formats whose decoder works in floats; the others hold integers.
bool decodesToFloat(int format) noexcept {
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
      return true;
    default:
      return false;
  }
}

SF_INFO infoOf(const std::optional<RawFormat>& raw) {
  if (!raw) return {};
  return {0,
          static_cast<int>(raw->rate),
          static_cast<int>(raw->channels),
          sndfileEncoding(raw->encoding),
          0,
          0};
}

/// libsndfile keeps the cause of a failed opening in one place for the whole
/// process.
SNDFILE* openDescriptor(int descriptor, SF_INFO& info) {
  static std::mutex opening;
  const std::lock_guard lock(opening);
  return sf_open_fd(descriptor, SFM_READ, &info, SF_TRUE);
}

}  // namespace

AudioReader::AudioReader(SoundInput input, const SoundOptions& options)
    : name_(std::move(input.name)),
      options_(options),
      feeder_(std::move(input.feeder)),
      info_(infoOf(input.raw)) {
  file_.reset(openDescriptor(input.descriptor, info_));
  if (!file_) {
    checkInterrupt();
    if (feeder_) feeder_->problem(true);
    throw FileError(name_, "not audio that can be read (WAV, FLAC, Ogg, Opus, MP3, ...)");
  }
  decodes_to_float_ = decodesToFloat(info_.format);
  if (decodes_to_float_) floats_.resize(kBlockFrames * channels());
}

std::uint64_t AudioReader::promisedFrames() const noexcept {
  return static_cast<std::uint64_t>(std::max<sf_count_t>(info_.frames, 0));
}

std::size_t AudioReader::read(std::vector<std::int16_t>& samples, std::size_t frames) {
  std::size_t done = 0;
  while (done < frames) {
    checkInterrupt();
    const std::size_t wanted = std::min(frames - done, kBlockFrames);
    const std::size_t old_size = samples.size();
    samples.resize(old_size + wanted * channels());
    const std::size_t came = readBlock(samples.data() + old_size, wanted);
    samples.resize(old_size + came * channels());
    done += came;
    position_ += came;
    if (came < wanted) break;
  }
  return done;
}

/// Frames read in one call of libsndfile: fewer than asked for at the end.
std::size_t AudioReader::readBlock(std::int16_t* samples, std::size_t frames) {
  sf_count_t came = 0;
  if (decodes_to_float_) {
    came = sf_readf_float(file_.get(), floats_.data(), static_cast<sf_count_t>(frames));
    const auto count = static_cast<std::ptrdiff_t>(came) * info_.channels;
    std::transform(floats_.begin(), floats_.begin() + count, samples, toPcm16);
  } else {
    came = sf_readf_short(file_.get(), samples, static_cast<sf_count_t>(frames));
  }
  if (static_cast<std::size_t>(came) < frames) {
    checkInterrupt();
    if (sf_error(file_.get()) != SF_ERR_NO_ERROR) noteDamage(sf_strerror(file_.get()));
    if (feeder_) {
      if (const std::string problem = feeder_->problem(true); !problem.empty()) noteDamage(problem);
    }
  }
  return static_cast<std::size_t>(came);
}

void AudioReader::noteDamage(const std::string& text) {
  const double second = static_cast<double>(position_) / info_.samplerate;
  if (options_.strict) throw FileError(name_, fmt::format("damaged at {:.1f} s: {}", second, text));
  if (!damage_) damage_ = Damage{second, text};
}

std::int16_t toPcm16(float sample) noexcept {
  if (std::isnan(sample)) return 0;
  // Exact in double precision, so that there is one rounding.
  const double scaled = std::round(static_cast<double>(sample) * 32767.0);
  return static_cast<std::int16_t>(std::clamp(scaled, -32768.0, 32767.0));
}

}  // namespace audiomatch
