#include "tool/input/sound_source.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/analysis_grid.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/audio_reader.h"
#include "tool/input/descriptor.h"
#include "tool/input/ffmpeg.h"
#include "tool/input/fingerprint_file.h"
#include "tool/input/mono_resampler.h"
#include "tool/input/mp3_decoder.h"
#include "tool/input/opus_decoder.h"
#include "tool/input/rate_reducer.h"
#include "tool/input/sndfile_decoder.h"
#include "tool/input/sound_kind.h"
#include "tool/input/standard_input.h"
#include "tool/output/messages.h"

namespace audiomatch {
namespace {

constexpr const char* kNotAudio = "not audio that can be read (WAV, FLAC, Ogg, Opus, MP3, ...)";
constexpr const char* kOrRaw = "; for raw samples give --rate (and --channels, --format)";
constexpr const char* kFingerprint =
    "a fingerprint, not a recording; only match takes one, and as a file";
constexpr const char* kFfmpegMissing =
    "can't be read without ffmpeg; install ffmpeg to read M4A, WMA and video, and FLAC from a pipe";
constexpr std::size_t kSkippedFrames = 8192;
constexpr std::uint64_t kMostReservedSamples = std::uint64_t{1} << 22;

/// Opened here and not by libsndfile, which neither says why a file can't be
/// opened nor leaves folders alone, and which guesses from extensions.
Descriptor openForReading(const std::filesystem::path& path) {
  Descriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (descriptor.get() < 0) throw FileError(path, std::strerror(errno));
  struct stat status {};
  if (fstat(descriptor.get(), &status) == 0 && S_ISDIR(status.st_mode)) {
    throw FileError(path, "is a folder, not a sound file");
  }
  return descriptor;
}

/// True for what can be gone back in, unlike pipes and devices.
bool isRegular(int descriptor) noexcept {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// Brings a source to a rate that the engine takes, or to the one that it analyses.
std::unique_ptr<SoundSource> atEngineRate(std::unique_ptr<SoundSource> source,
                                          const std::filesystem::path& name, bool to_mono) {
  const std::uint32_t rate = source->sampleRate();
  if (rate < audio::kLowestRate || rate > kHighestReducibleRate) {
    throw FileError(name, fmt::format("its sample rate of {} Hz is outside {} to {} Hz; convert it "
                                      "first, for example to 44100 Hz",
                                      rate, audio::kLowestRate, kHighestReducibleRate));
  }
  if (to_mono && rate != audio::kAnalysisRate) {
    return std::make_unique<MonoResampler>(std::move(source));
  }
  if (audio::isSupportedRate(rate)) return source;
  return std::make_unique<RateReducer>(std::move(source));
}

/// A source of what was opened. Throws FileError when that failed.
///
/// @param start  the recording's first bytes
std::unique_ptr<SoundSource> assemble(const std::filesystem::path& name, const std::string& start,
                                      std::unique_ptr<Decoder> decoder,
                                      std::unique_ptr<Feeder> feeder, const SoundOptions& options) {
  if (!decoder) {
    checkInterrupt();
    const std::string problem = feeder ? feeder->problem(true) : "";
    const char* or_raw = options.or_raw ? kOrRaw : "";
    if (!problem.empty()) throw FileError(name, "not audio that can be read: " + problem + or_raw);
    if (looksLikeFingerprint(start)) throw FileError(name, kFingerprint);
    throw FileError(name, std::string(kNotAudio) + or_raw);
  }
  return atEngineRate(
      std::make_unique<AudioReader>(name, std::move(decoder), std::move(feeder), options), name,
      options.to_mono);
}

/// The decoder for what begins as a kind does; null when there is none.
std::unique_ptr<Decoder> openDecoder(const Descriptor& file, SoundKind kind,
                                     const std::optional<RawFormat>& raw, bool to_mono) {
  std::unique_ptr<Decoder> decoder;
  if (kind == SoundKind::kOpus) return OpusDecoder::open(file.duplicate());
  if (kind == SoundKind::kMpeg) decoder = Mp3Decoder::open(file.duplicate(), to_mono);
  if (decoder || kind == SoundKind::kFfmpeg) return decoder;
  lseek(file.get(), 0, SEEK_SET);
  return SndfileDecoder::open(file.duplicate(), raw);
}

/// Opens a file by libsndfile, and what is beyond it by ffmpeg.
std::unique_ptr<SoundSource> openFile(const Descriptor& file, const std::filesystem::path& name,
                                      const std::optional<RawFormat>& raw,
                                      const SoundOptions& options) {
  const std::string start = raw ? "" : firstBytes(file, kTellingBytes);
  const SoundKind kind = soundKind(start);
  std::unique_ptr<Decoder> decoder = openDecoder(file, kind, raw, options.to_mono);
  std::unique_ptr<Feeder> feeder;
  if (!decoder && kind != SoundKind::kSndfile && options.ffmpeg) {
    SocketPair sockets;
    feeder = Ffmpeg::ofFile(file, name, sockets.writing);
    if (!feeder) throw FileError(name, kind == SoundKind::kFfmpeg ? kFfmpegMissing : kNotAudio);
    sockets.writing = Descriptor();
    decoder = SndfileDecoder::open(std::move(sockets.reading));
  }
  return assemble(name, start, std::move(decoder), std::move(feeder), options);
}

/// Opens what comes live.
std::unique_ptr<SoundSource> openPipe(Descriptor live, const std::filesystem::path& name,
                                      const std::optional<RawFormat>& raw,
                                      const SoundOptions& options) {
  SocketPair sockets;
  std::unique_ptr<Feeder> feeder =
      std::make_unique<StandardInput>(std::move(live), name, std::move(sockets.writing));
  const std::string start = raw ? "" : firstBytes(sockets.reading, kTellingBytes);
  SoundKind kind = soundKind(start);
  if (kind == SoundKind::kFfmpeg || needsGoingBack(start)) {
    SocketPair behind;
    feeder = Ffmpeg::ofPipe(sockets.reading, std::move(feeder), behind.writing);
    if (!feeder) throw FileError(name, kFfmpegMissing);
    behind.writing = Descriptor();
    sockets.reading = std::move(behind.reading);
    kind = SoundKind::kSndfile;
  }
  std::unique_ptr<Decoder> decoder = openDecoder(sockets.reading, kind, raw, options.to_mono);
  sockets.reading = Descriptor();
  return assemble(name, start, std::move(decoder), std::move(feeder), options);
}

/// For what `raw` tells of when it is given.
SoundOptions orRaw(SoundOptions options) noexcept {
  options.or_raw = true;
  return options;
}

}  // namespace

std::string describe(const Damage& damage) {
  return fmt::format("at {:.1f} s: {}", damage.second, damage.text);
}

std::uint64_t SoundSource::skip(std::uint64_t frames) {
  std::vector<std::int16_t> dropped;
  std::uint64_t done = 0;
  while (done < frames) {
    dropped.clear();
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(frames - done, kSkippedFrames));
    const std::size_t came = read(dropped, wanted);
    done += came;
    if (came < wanted) break;
  }
  return done;
}

std::size_t SoundSource::roomFor(std::uint64_t frames) const noexcept {
  const std::uint64_t left = promisedFrames() - std::min(promisedFrames(), position());
  return static_cast<std::size_t>(
      std::min(std::min(frames, left), kMostReservedSamples / channels()) * channels());
}

std::unique_ptr<SoundSource> openSound(const std::filesystem::path& path,
                                       const SoundOptions& options) {
  Descriptor file = openForReading(path);
  if (isRegular(file.get())) return openFile(file, path, {}, options);
  return openPipe(std::move(file), path, {}, options);
}

std::unique_ptr<SoundSource> openStandardInput(const std::optional<RawFormat>& raw,
                                               const SoundOptions& options) {
  const std::filesystem::path name = "standard input";
  if (!raw && isRegular(STDIN_FILENO)) {
    return openFile(openForReading("/dev/stdin"), name, {}, orRaw(options));
  }
  return openPipe(Descriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)), name, raw, orRaw(options));
}

std::unique_ptr<SoundSource> openSoundBytes(std::string_view bytes,
                                            const std::filesystem::path& name,
                                            const std::optional<RawFormat>& raw,
                                            const SoundOptions& options) {
  return openFile(memoryFile(bytes), name, raw, options);
}

std::unique_ptr<SoundSource> openNamedPipe(const std::filesystem::path& path,
                                           const std::optional<RawFormat>& raw,
                                           const SoundOptions& options) {
  // Opening doesn't wait for a writer, as no signal would end that.
  Descriptor live(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (live.get() < 0) throw FileError(path, std::strerror(errno));
  return openPipe(std::move(live), path, raw, orRaw(options));
}

ExitCode reportDamage(const std::filesystem::path& path, const std::optional<Damage>& damage) {
  if (!damage) return ExitCode::kSuccess;
  warn("damaged " + describe(*damage) + "; what can be read is used (--strict refuses it)", path);
  return ExitCode::kLeftOut;
}

}  // namespace audiomatch
