#include "references.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <stdexcept>
#include <utility>

#include "base/analysis_grid.h"
#include "conditions.h"
#include "effects.h"
#include "feature_file.h"
#include "match/database/database_format.h"
#include "tool/input/decoder.h"
#include "tool/input/recording.h"

namespace bench {

using audiomatch::RatedFeature;

namespace {

constexpr double kLeastChange = 0.08;
constexpr double kMostChange = 0.33;
// Copies at speeds of each sign, next to each other by 0.7 %.
constexpr std::size_t kSpeeds = 36;

/// The speed of copy number `copy`, from 0 on: by turns faster and slower.
double speedOf(std::size_t copy) {
  // Scattered, so that a few copies aren't all next to the recording.
  const std::size_t step = copy / 2 * 23 % kSpeeds;
  const double change = kLeastChange + (kMostChange - kLeastChange) * static_cast<double>(step) /
                                           static_cast<double>(kSpeeds - 1);
  return copy % 2 == 0 ? 1.0 + change : 1.0 / (1.0 + change);
}

/// The features of a sound that isn't silent.
std::vector<RatedFeature> ratedFeaturesOf(const Sound& sound) {
  std::vector<std::int16_t> samples(sound.samples.size());
  std::ranges::transform(sound.samples, samples.begin(), audiomatch::toPcm16);
  const audio::AudioDataPtr recording = audiomatch::toAudio(samples, 1, sound.rate);
  audio::FeatureExtractor extractor;
  if (!extractor.init(true) || !extractor.loadAudio(recording.get())) throw std::bad_alloc();
  if (!extractor.extractFeatures()) return {};
  return audiomatch::ratedFeatures(extractor);
}

/// The features of a sound, in parts as a database has them.
ReferenceFeatures analyse(const Sound& sound) {
  constexpr std::size_t kPart =
      (audio::kTimeSlots - 1) * std::size_t{audio::kHopSamples} + audio::kFrameSamples;
  const std::size_t part_length = kPart * sound.rate / audio::kAnalysisRate;
  ReferenceFeatures result{static_cast<double>(sound.samples.size()) / sound.rate, {}};
  for (std::size_t at = 0; at < sound.samples.size(); at += part_length) {
    const Sound part = cut(sound, at, std::min(part_length, sound.samples.size() - at));
    result.parts.push_back(ratedFeaturesOf(part));
  }
  return result;
}

ReferenceFeatures analyse(const Reference& reference) {
  const Sound whole = readMono(reference.recording->path);
  if (reference.exact && reference.speed == 1.0) return analyse(whole);
  const double factor = reference.speed * whole.rate / audio::kAnalysisRate;
  Sound copy = atSpeed(whole, factor);
  copy.rate = audio::kAnalysisRate;
  return analyse(copy);
}

}  // namespace

std::vector<Reference> collectionOf(const std::vector<const Listed*>& recordings, std::size_t count,
                                    const std::filesystem::path& folder, bool exact) {
  if (recordings.empty() || count > recordings.size() * (1 + 2 * kSpeeds)) {
    throw std::invalid_argument(fmt::format("{} recordings and their copies aren't {} references",
                                            recordings.size(), count));
  }
  std::vector<Reference> references;
  references.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const Listed* const recording = recordings[i % recordings.size()];
    const std::size_t round = i / recordings.size();
    const double speed = round == 0 ? 1.0 : speedOf(round - 1);
    std::string name =
        round == 0 ? recording->name : fmt::format("{}@{:.4f}", recording->name, speed);
    std::filesystem::path file = folder / name;
    references.push_back({std::move(name), recording, exact, speed, std::move(file)});
  }
  return references;
}

ReferenceFeatures featuresOfReference(const Reference& reference) {
  ReferenceFeatures features{};
  if (auto blocks = readBlocks<RatedFeature>(reference.file)) {
    for (auto& block : *blocks) {
      features.seconds = block.numbers[0] / 1e3;
      features.parts.push_back(std::move(block.features));
    }
    return features;
  }
  features = analyse(reference);
  std::vector<FeatureBlock<RatedFeature>> blocks;
  for (const auto& part : features.parts) {
    const auto milliseconds = static_cast<std::uint32_t>(std::lround(features.seconds * 1e3));
    blocks.push_back({{milliseconds, 0, 0, 0}, part});
  }
  writeBlocks(reference.file, blocks);
  return features;
}

}  // namespace bench
