#include "tool/input/recording.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "jni/pcm16.h"
#include "tool/base/errors.h"

namespace audiomatch {
namespace {

// Samples of all channels held at once: 3 GiB on the way into the engine,
// an hour and a half of CD audio.
constexpr std::uint64_t kMostSamples = std::uint64_t{1} << 29;

/// Up to `frames` frames from the reader's position on.
Recording readFrames(SoundSource& sound, const std::filesystem::path& path, std::uint64_t frames) {
  const std::uint64_t most = kMostSamples / sound.channels();
  const std::uint64_t wanted = std::min(frames, most);
  std::vector<std::int16_t> samples;
  samples.reserve(sound.roomFor(wanted));
  const std::size_t came = sound.read(samples, wanted);
  if (came == 0) throw FileError(path, "holds no sound");
  if (came == most && frames > most && sound.skip(1) > 0) {
    throw FileError(path, "too long to be held in memory at once; cut out the piece you mean");
  }
  return {toAudio(samples, sound.channels(), sound.sampleRate()), sound.damage()};
}

}  // namespace

audio::AudioDataPtr toAudio(std::span<const std::int16_t> samples, std::uint32_t channels,
                            std::uint32_t sampleRate) {
  const auto frames = static_cast<std::uint32_t>(samples.size() / channels);
  audio::AudioDataPtr recording =
      audio::pcm16ToAudioData(samples.data(), {channels, frames, sampleRate});
  if (!recording) throw std::bad_alloc();
  return recording;
}

bool isAnalysable(audio::ExtractionOutcome outcome) noexcept {
  return outcome == audio::ExtractionOutcome::kFeatures ||
         outcome == audio::ExtractionOutcome::kSilent ||
         outcome == audio::ExtractionOutcome::kTooShort ||
         outcome == audio::ExtractionOutcome::kNoLandMarks;
}

std::string describe(audio::ExtractionOutcome outcome) {
  switch (outcome) {
    case audio::ExtractionOutcome::kSilent:
      return "no features: silent";
    case audio::ExtractionOutcome::kTooShort:
      return "no features: too short to have any";
    case audio::ExtractionOutcome::kTooLong:
      return "too long to be analysed at once; cut out the piece you mean";
    case audio::ExtractionOutcome::kNoLandMarks:
      return "no features: no two peaks of its spectrum lie close to each other";
    case audio::ExtractionOutcome::kUnsupportedRate:
      return "its sample rate is none that can be analysed";
    default:
      throw std::bad_alloc();
  }
}

Recording readRecording(const std::filesystem::path& path, const SoundOptions& options) {
  return readFrames(*openSound(path, options), path, UINT64_MAX);
}

Recording readStretch(const std::filesystem::path& path, const Stretch& stretch,
                      const SoundOptions& options) {
  const std::unique_ptr<SoundSource> sound = openSound(path, options);
  const auto frames = [&](double seconds) {
    return static_cast<std::uint64_t>(std::llround(seconds * sound->sampleRate()));
  };
  if (sound->skip(frames(stretch.from)) < frames(stretch.from)) {
    throw FileError(path, "ends before the stretch begins");
  }
  return readFrames(*sound, path, frames(stretch.seconds));
}

}  // namespace audiomatch
