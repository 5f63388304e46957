#include "references.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "base/analysis_grid.h"
#include "conditions.h"
#include "effects.h"
#include "feature_file.h"
#include "match/database/database_format.h"
#include "tool/keeping/entry_selection.h"
#include "tool/keeping/reference_analysis.h"

namespace bench {
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

/// The features of a sound at 8 kHz, in parts as a database has them.
ReferenceFeatures analyse(const Sound& sound) {
  constexpr std::size_t kPart =
      (audio::kTimeSlots - 1) * std::size_t{audio::kHopSamples} + audio::kFrameSamples;
  ReferenceFeatures result{static_cast<double>(sound.samples.size()) / sound.rate, {}};
  for (std::size_t at = 0; at < sound.samples.size(); at += kPart) {
    const Sound part = cut(sound, at, std::min(kPart, sound.samples.size() - at));
    result.parts.push_back(featuresOf(part, Passes::kOne));
  }
  return result;
}

ReferenceFeatures analyseCopy(const Reference& reference) {
  const Sound whole = readMono(reference.recording->path);
  const double factor = reference.speed * whole.rate / audio::kAnalysisRate;
  Sound copy = atSpeed(whole, factor);
  copy.rate = audio::kAnalysisRate;
  return analyse(copy);
}

ReferenceFeatures analyse(const Reference& reference) {
  if (reference.speed != 1.0) return analyseCopy(reference);
  audiomatch::Reference whole = audiomatch::analyseReference(
      reference.recording->path, audiomatch::kEveryEntry, {.to_mono = !reference.exact});
  return {whole.seconds, std::move(whole.parts)};
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
  if (auto blocks = readBlocks(reference.file)) {
    for (FeatureBlock& block : *blocks) {
      features.seconds = block.numbers[0] / 1e3;
      features.parts.push_back(std::move(block.features));
    }
    return features;
  }
  features = analyse(reference);
  std::vector<FeatureBlock> blocks;
  for (const auto& part : features.parts) {
    const auto milliseconds = static_cast<std::uint32_t>(std::lround(features.seconds * 1e3));
    blocks.push_back({{milliseconds, 0, 0}, part});
  }
  writeBlocks(reference.file, blocks);
  return features;
}

}  // namespace bench
