#include "tool/input/audio_reader.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <mutex>
#include <string>

#include "base/analysis_grid.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"

namespace audiomatch {
namespace {

constexpr std::size_t kBlockFrames = 8192;
constexpr std::uint64_t kMostReservedSamples = std::uint64_t{1} << 22;

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

/// Opened here and not by libsndfile, which neither says why a file can't be
/// opened nor leaves folders alone, and which guesses from extensions.
int openForReading(const std::filesystem::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw FileError(path, std::strerror(errno));
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    close(descriptor);
    throw FileError(path, "is a folder, not a sound file");
  }
  return descriptor;
}

/// libsndfile keeps the cause of a failed opening in one place for the whole
/// process.
SNDFILE* openSound(int descriptor, SF_INFO& info) {
  static std::mutex opening;
  const std::lock_guard lock(opening);
  return sf_open_fd(descriptor, SFM_READ, &info, SF_TRUE);
}

}  // namespace

AudioReader::AudioReader(const std::filesystem::path& path) : path_(path) {
  file_.reset(openSound(openForReading(path), info_));
  if (!file_) throw FileError(path, "not audio that can be read (WAV, FLAC, Ogg, Opus, MP3, ...)");
  if (info_.samplerate <= 0 || !audio::isSupportedRate(sampleRate())) {
    throw FileError(path, fmt::format("its sample rate of {} Hz is outside {} to {} Hz; convert it "
                                      "first, for example to 44100 Hz",
                                      info_.samplerate, audio::kLowestRate, audio::kHighestRate));
  }
  decodes_to_float_ = decodesToFloat(info_.format);
  if (decodes_to_float_) floats_.resize(kBlockFrames * channels());
}

std::uint64_t AudioReader::promisedFrames() const noexcept {
  return static_cast<std::uint64_t>(std::max<sf_count_t>(info_.frames, 0));
}

std::size_t AudioReader::roomFor(std::uint64_t frames) const noexcept {
  const std::uint64_t left = promisedFrames() - std::min(promisedFrames(), position_);
  return static_cast<std::size_t>(
      std::min(std::min(frames, left), kMostReservedSamples / channels()) * channels());
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

std::uint64_t AudioReader::skip(std::uint64_t frames) {
  std::vector<std::int16_t> dropped;
  std::uint64_t done = 0;
  while (done < frames) {
    dropped.clear();
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(frames - done, kBlockFrames));
    const std::size_t came = read(dropped, wanted);
    done += came;
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
  if (static_cast<std::size_t>(came) < frames && sf_error(file_.get()) != SF_ERR_NO_ERROR) {
    throw FileError(path_, fmt::format("damaged after {:.1f} s: {}",
                                       static_cast<double>(position_) / info_.samplerate,
                                       sf_strerror(file_.get())));
  }
  return static_cast<std::size_t>(came);
}

std::int16_t toPcm16(float sample) noexcept {
  if (std::isnan(sample)) return 0;
  // Exact in double precision, so that there is one rounding.
  const double scaled = std::round(static_cast<double>(sample) * 32767.0);
  return static_cast<std::int16_t>(std::clamp(scaled, -32768.0, 32767.0));
}

}  // namespace audiomatch
