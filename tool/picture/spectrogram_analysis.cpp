#include "tool/picture/spectrogram_analysis.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "base/analysis_grid.h"
#include "base/audio_data.h"
#include "feature/audio_land_mark_finder.h"
#include "match/database/database_format.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/recording_parts.h"
#include "tool/input/sound_source.h"

namespace audiomatch {
namespace {

constexpr std::size_t kBins = audio::kFrameSamples / 2 + 1;
// Between half as many and all of them share the width of a picture.
constexpr std::size_t kMostColumns = 3840;

/// The engine's finder, which shows the spectrum behind its logarithms: those
/// are relative to the mean of what was analysed at once, so those of two
/// parts can't be compared.
class OpenFinder : public audio::AudioLandMarkFinder2D {
 public:
  /// Valid until the next call. The extraction keeps no spectra: it is made anew.
  std::span<const std::complex<float>> frame(std::uint32_t number) noexcept {
    return {sepctrogram_generator->transform(number), kBins};
  }
};

/// What is short enough to be held at once, from where the sound stands.
audio::AudioDataPtr readPiece(SoundSource& sound, const std::filesystem::path& path,
                              double seconds) {
  const auto frames = static_cast<std::size_t>(std::llround(seconds * sound.sampleRate()));
  std::vector<std::int16_t> samples;
  samples.reserve(sound.roomFor(frames));
  if (sound.read(samples, frames) == 0) throw FileError(path, "holds no sound");
  return toAudio(samples, sound.channels(), sound.sampleRate());
}

/// Gathers the parts of a stretch.
class Gatherer {
 public:
  Gatherer(const std::filesystem::path& path, const Stretch& stretch, std::size_t mostColumns)
      : path_(path),
        most_frames_(stretch.seconds < kEndless ? static_cast<std::uint64_t>(std::llround(
                                                      stretch.seconds / audio::secondsOfFrames(1)))
                                                : UINT64_MAX),
        analysis_{stretch.from, SpectrogramColumns(kBins, mostColumns), 0, 0, {}, {}, {}} {}

  bool full() const noexcept { return analysis_.columns.frames() >= most_frames_; }

  void add(audio::AudioDataPtr part) {
    const audio::AudioDataPtr mono = audio::monoMix(*part);
    part.reset();
    if (!mono) throw std::bad_alloc();
    addMono(*mono);
  }

  void addMono(const audio::AudioData& mono) {
    OpenFinder finder;
    if (!finder.init(true) || !finder.setAudio(&mono)) throw std::bad_alloc();
    if (finder.findLandMarks()) return addSound(finder);
    outcome_ = finder.outcome();
    if (!isAnalysable(outcome_)) throw FileError(path_, describe(outcome_));
    if (outcome_ == audio::ExtractionOutcome::kSilent) addSilence(mono);
  }

  SpectrogramAnalysis result(std::optional<Damage> damage) && {
    if (!heard_) throw FileError(path_, describe(outcome_));
    analysis_.damage = std::move(damage);
    return std::move(analysis_);
  }

 private:
  static constexpr double kEndless = 1e9;

  /// Frames that belong to a part, not to the overlap with the next one or to
  /// what comes behind the stretch.
  std::uint64_t framesOf(std::uint64_t analysed) const noexcept {
    return std::min(
        {analysed, std::uint64_t{audio::kTimeSlots}, most_frames_ - analysis_.columns.frames()});
  }

  void addSilence(const audio::AudioData& mono) {
    const std::uint64_t frames = framesOf(audio::frameCount(mono.dataLen(), mono.sampleRate()));
    for (std::uint64_t frame = 0; frame < frames; ++frame) analysis_.columns.addFrame({});
  }

  void addSound(OpenFinder& finder) {
    heard_ = true;
    const std::uint64_t start = analysis_.columns.frames();
    const auto frames = static_cast<std::int32_t>(framesOf(finder.frameNum()));
    for (std::int32_t frame = 0; frame < frames; ++frame) {
      analysis_.columns.addFrame(finder.frame(static_cast<std::uint32_t>(frame)));
      const auto& peaks = finder.getPeaks()[static_cast<std::size_t>(frame)];
      analysis_.peak_count += peaks.size();
      if (keepsAll()) analysis_.peaks.insert(analysis_.peaks.end(), peaks.begin(), peaks.end());
    }
    for (const audio::LandMark& mark : finder.getLandMarks()) {
      if (mark.anchorTime >= frames) continue;
      ++analysis_.landmark_count;
      analysis_.columns.addLandmark(start + static_cast<std::uint64_t>(mark.anchorTime));
      if (keepsAll()) analysis_.landmarks.push_back(mark);
    }
    if (!keepsAll()) analysis_.peaks.clear();
  }

  // Shorter than a part.
  bool keepsAll() const noexcept { return analysis_.columns.frames() <= kMostFramesOneByOne; }

  const std::filesystem::path& path_;
  std::uint64_t most_frames_;
  SpectrogramAnalysis analysis_;
  audio::ExtractionOutcome outcome_ = audio::ExtractionOutcome::kTooShort;
  bool heard_ = false;
};

}  // namespace

double SpectrogramAnalysis::seconds() const noexcept {
  return audio::secondsOfFrames(static_cast<double>(columns.frames()));
}

SpectrogramAnalysis analyseStretch(const std::filesystem::path& path, const Stretch& stretch,
                                   const SoundOptions& options) {
  const std::unique_ptr<SoundSource> sound = openSound(path, options);
  const auto skipped = static_cast<std::uint64_t>(std::llround(stretch.from * sound->sampleRate()));
  if (sound->skip(skipped) < skipped) throw FileError(path, "ends before the stretch begins");
  Gatherer gatherer(path, stretch, kMostColumns);
  if (stretch.seconds <= audio::secondsOfFrames(audio::kTimeSlots)) {
    gatherer.add(readPiece(*sound, path, stretch.seconds));
    return std::move(gatherer).result(sound->damage());
  }
  PartReader parts(*sound);
  while (!gatherer.full()) {
    audio::AudioDataPtr part = parts.next();
    if (!part) break;
    checkInterrupt();
    gatherer.add(std::move(part));
  }
  return std::move(gatherer).result(sound->damage());
}

SpectrogramAnalysis analyseSound(const audio::AudioData& sound, const std::string& name,
                                 std::size_t mostColumns) {
  const std::filesystem::path path = name;
  Gatherer gatherer(path, {0.0, std::numeric_limits<double>::infinity()}, mostColumns);
  const audio::AudioDataPtr mono = audio::monoMix(sound);
  if (!mono) throw std::bad_alloc();
  gatherer.addMono(*mono);
  return std::move(gatherer).result({});
}

}  // namespace audiomatch
