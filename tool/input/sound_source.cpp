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
#include "tool/input/audio_reader.h"
#include "tool/input/live_input.h"

namespace audiomatch {
namespace {

constexpr std::size_t kSkippedFrames = 8192;
constexpr std::uint64_t kMostReservedSamples = std::uint64_t{1} << 22;

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

/// Opens the input at a rate that the engine takes.
std::unique_ptr<SoundSource> openInput(SoundInput input, const SoundOptions& options) {
  const std::filesystem::path name = input.name;
  auto reader = std::make_unique<AudioReader>(std::move(input), options);
  if (!audio::isSupportedRate(reader->sampleRate())) {
    throw FileError(name,
                    fmt::format("its sample rate of {} Hz is outside {} to {} Hz; convert it "
                                "first, for example to 44100 Hz",
                                reader->sampleRate(), audio::kLowestRate, audio::kHighestRate));
  }
  return reader;
}

std::unique_ptr<SoundSource> openLive(int live, const std::filesystem::path& name,
                                      const std::optional<RawFormat>& raw,
                                      const SoundOptions& options) {
  auto input = std::make_unique<LiveInput>(live, name);
  const int descriptor = input->descriptor();
  return openInput({name, descriptor, raw, std::move(input)}, options);
}

}  // namespace

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
  return openInput({path, openForReading(path), {}, nullptr}, options);
}

std::unique_ptr<SoundSource> openStandardInput(const std::optional<RawFormat>& raw,
                                               const SoundOptions& options) {
  return openLive(STDIN_FILENO, "standard input", raw, options);
}

std::unique_ptr<SoundSource> openNamedPipe(const std::filesystem::path& path,
                                           const std::optional<RawFormat>& raw,
                                           const SoundOptions& options) {
  // Opening doesn't wait for a writer, as no signal would end that.
  const int live = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (live < 0) throw FileError(path, std::strerror(errno));
  return openLive(live, path, raw, options);
}

std::string damageMessage(const std::filesystem::path& path, const Damage& damage) {
  return fmt::format("{}: damaged at {:.1f} s: {}; what can be read is used (--strict refuses it)",
                     path.string(), damage.second, damage.text);
}

}  // namespace audiomatch
