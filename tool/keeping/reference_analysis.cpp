#include "tool/keeping/reference_analysis.h"

#include <fmt/format.h>

#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "feature/feature_extractor.h"
#include "match/database/database_format.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/recording.h"
#include "tool/input/recording_parts.h"
#include "tool/input/sound_source.h"
#include "tool/keeping/entry_choice.h"
#include "tool/keeping/rated_features.h"

namespace audiomatch {
namespace {

/// The features whose anchors belong to a part, each once. `outcome` is what
/// came of the part; throws what describe() throws for any other than that it
/// has features or none.
std::vector<RatedFeature> featuresOfPart(audio::AudioDataPtr part,
                                         const std::filesystem::path& path,
                                         audio::ExtractionOutcome& outcome) {
  audio::FeatureExtractor extractor;
  if (!extractor.init(true) || !extractor.loadAudio(part.get())) throw std::bad_alloc();
  // The extractor has its own copy.
  part.reset();
  const bool extracted = extractor.extractFeatures();
  outcome = extractor.outcome();
  if (!extracted && isAnalysable(outcome)) return {};
  if (!extracted) throw FileError(path, describe(outcome));
  std::vector<RatedFeature> features = ratedFeatures(extractor);
  std::erase_if(features, [](const RatedFeature& each) {
    return each.feature.startTime >= audio::kTimeSlots;
  });
  return features;
}

}  // namespace

std::size_t Reference::entryCount() const noexcept {
  std::size_t count = 0;
  for (const auto& entries : parts) count += entries.size();
  return count;
}

Reference analyseReference(const std::filesystem::path& path, std::size_t room,
                           const SoundOptions& options) {
  return analyseReference(*openSound(path, options), path, room,
                          std::numeric_limits<double>::infinity());
}

Reference analyseReference(SoundSource& sound, const std::filesystem::path& path, std::size_t room,
                           double most_seconds) {
  PartReader parts(sound);
  Reference reference;
  audio::ExtractionOutcome outcome = audio::ExtractionOutcome::kTooShort;
  while (audio::AudioDataPtr part = parts.next()) {
    checkInterrupt();
    if (static_cast<double>(sound.position()) > most_seconds * sound.sampleRate()) {
      throw std::length_error(
          fmt::format("{} is longer than {:.0f} seconds", path.string(), most_seconds));
    }
    const std::vector<RatedFeature> features = featuresOfPart(std::move(part), path, outcome);
    reference.features += features.size();
    reference.parts.push_back(chooseEntries(features, room));
  }
  reference.seconds = static_cast<double>(sound.position()) / sound.sampleRate();
  reference.damage = sound.damage();
  if (reference.features == 0) throw FileError(path, describe(outcome));
  return reference;
}

}  // namespace audiomatch
