#include "tool/spectrogram_analysis.h"

#include <new>

#include "base/audio_data.h"
#include "feature/audio_land_mark_finder.h"
#include "tool/errors.h"

namespace audiomatch {

SpectrogramAnalysis analyseStretch(const std::filesystem::path& path, const Stretch& stretch) {
  const audio::AudioDataPtr mono = audio::monoMix(*readStretch(path, stretch));
  audio::AudioLandMarkFinder2D finder;
  if (!finder.init(true) || !finder.setAudio(mono.get())) throw std::bad_alloc();
  if (!finder.findLandMarks()) throw FileError(path, describe(finder.outcome()));
  const float* first = finder.spectrogramMatrix();
  const std::size_t cells = std::size_t{finder.frameNum()} * finder.binNum();
  SpectrogramAnalysis analysis{
      stretch.from, finder.frameNum(),    finder.binNum(), std::vector<float>(first, first + cells),
      {},           finder.getLandMarks()};
  for (const auto& peaks : finder.getPeaks()) {
    analysis.peaks.insert(analysis.peaks.end(), peaks.begin(), peaks.end());
  }
  return analysis;
}

}  // namespace audiomatch
