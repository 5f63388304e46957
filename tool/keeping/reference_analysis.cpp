#include "tool/keeping/reference_analysis.h"

#include <fmt/format.h>

#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "match/database/database_format.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/recording.h"
#include "tool/input/recording_parts.h"
#include "tool/keeping/entry_choice.h"

namespace audiomatch {

/// The features whose anchors belong to a part, each once. `outcome` is what
/// came of the part; throws what describe() throws for any other than that it
/// has features or none.
std::vector<RatedFeature> ReferenceAnalyser::featuresOfPart(audio::AudioDataPtr part,
                                                            const std::filesystem::path& path,
                                                            audio::ExtractionOutcome& outcome) {
  is_ready_ = is_ready_ || extractor_.init(true);
  if (!is_ready_ || !extractor_.loadAudio(part.get())) throw std::bad_alloc();
  // The extractor has its own copy.
  part.reset();
  const bool extracted = extractor_.extractFeatures();
  outcome = extractor_.outcome();
  if (!extracted && isAnalysable(outcome)) return {};
  if (!extracted) throw FileError(path, describe(outcome));
  std::vector<RatedFeature> features = ratedFeatures(extractor_);
  std::erase_if(features, [](const RatedFeature& each) {
    return each.feature.startTime >= audio::kTimeSlots;
  });
  return features;
}

std::size_t Reference::entryCount() const noexcept {
  std::size_t count = 0;
  for (const auto& entries : parts) count += entries.size();
  return count;
}

Reference ReferenceAnalyser::analyse(const std::filesystem::path& path, std::size_t room,
                                     const SoundOptions& options, std::launch reading) {
  return analyse(*openSound(path, options), path, room, std::numeric_limits<double>::infinity(),
                 reading);
}

Reference ReferenceAnalyser::analyse(SoundSource& sound, const std::filesystem::path& path,
                                     std::size_t room, double most_seconds, std::launch reading) {
  struct Read {
    audio::AudioDataPtr part;
    std::uint64_t end;
  };
  PartReader parts(sound);
  const auto read = [&]() -> Read {
    audio::AudioDataPtr part = parts.next();
    return {std::move(part), sound.position()};
  };
  std::future<Read> next = std::async(reading, read);
  Reference reference;
  audio::ExtractionOutcome outcome = audio::ExtractionOutcome::kTooShort;
  for (Read now = next.get(); now.part; now = next.get()) {
    next = std::async(reading, read);
    checkInterrupt();
    if (static_cast<double>(now.end) > most_seconds * sound.sampleRate()) {
      throw std::length_error(
          fmt::format("{} is longer than {:.0f} seconds", path.string(), most_seconds));
    }
    const std::vector<RatedFeature> features = featuresOfPart(std::move(now.part), path, outcome);
    reference.features += features.size();
    reference.parts.push_back(chooseEntries(features, room));
  }
  reference.seconds = static_cast<double>(sound.position()) / sound.sampleRate();
  reference.damage = sound.damage();
  if (reference.features == 0) throw FileError(path, describe(outcome));
  return reference;
}

}  // namespace audiomatch
