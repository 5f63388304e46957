#include "questions.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string_view>

#include "conditions.h"
#include "feature_file.h"
#include "tool/keeping/entry_selection.h"

namespace bench {
namespace {

constexpr double kLongest = 10.0;
// Before and behind an excerpt: filters and codecs settle, and faster sound takes more of it.
constexpr double kLead = 0.5;
constexpr double kMargin = 1.0;
constexpr int kTries = 20;
// Below this root of the mean square, of full scale, it is silence.
constexpr double kSilence = 1e-3;

/// The same for the same texts and numbers everywhere.
std::uint64_t seedOf(std::string_view name, std::uint64_t seed, std::uint64_t number) {
  std::uint64_t state = audiomatch::splitMix64(seed ^ audiomatch::splitMix64(number));
  for (const char letter : name) {
    state = audiomatch::splitMix64(state ^ static_cast<unsigned char>(letter));
  }
  return state;
}

bool isSilent(const Sound& sound) {
  double energy = 0.0;
  for (const float sample : sound.samples) energy += static_cast<double>(sample) * sample;
  return std::sqrt(energy / static_cast<double>(sound.samples.size())) < kSilence;
}

/// A stretch with sound in it, or an empty one.
Sound drawStretch(const Sound& whole, std::mt19937_64& random) {
  const auto length = static_cast<std::size_t>((kLead + kLongest + kMargin) * whole.rate);
  for (int i = 0; i < kTries && length <= whole.samples.size(); ++i) {
    Sound stretch = cut(whole, random() % (whole.samples.size() - length + 1), length);
    if (!isSilent(stretch)) return stretch;
  }
  return {{}, whole.rate};
}

/// The questions of an excerpt's sound, of each length.
void append(std::vector<Question>& questions, const Sound& heard, std::uint32_t excerpt,
            std::uint32_t condition) {
  const auto lead = static_cast<std::size_t>(kLead * heard.rate);
  for (const std::uint32_t seconds : kAskedSeconds) {
    const std::size_t length =
        std::min<std::size_t>(std::size_t{seconds} * heard.rate, heard.samples.size() - lead);
    questions.push_back({excerpt, condition, seconds, featuresOf(cut(heard, lead, length))});
  }
}

std::vector<Question> make(const Listed& recording, std::uint32_t excerpts, std::uint64_t seed,
                           const Sound& speech) {
  const Sound whole = readMono(recording.path);
  std::vector<Question> questions;
  for (std::uint32_t excerpt = 0; excerpt < excerpts; ++excerpt) {
    std::mt19937_64 random(seedOf(recording.name, seed, excerpt));
    const Heard heard{drawStretch(whole, random), speech};
    if (heard.sound.samples.empty()) continue;
    for (std::uint32_t i = 0; i < allConditions().size(); ++i) {
      const Condition& condition = allConditions()[i];
      // Of its own, so that a new condition changes no other.
      std::mt19937_64 noise(seedOf(condition.name, seedOf(recording.name, seed, excerpt), 0));
      append(questions, condition.apply(heard, noise), excerpt, i);
    }
  }
  return questions;
}

}  // namespace

std::vector<Question> questionsAbout(const Listed& recording, std::uint32_t excerpts,
                                     std::uint64_t seed, const Sound& speech,
                                     const std::filesystem::path& file) {
  std::vector<Question> questions;
  if (auto blocks = readBlocks(file)) {
    for (FeatureBlock& block : *blocks) {
      questions.push_back(
          {block.numbers[0], block.numbers[1], block.numbers[2], std::move(block.features)});
    }
    return questions;
  }
  questions = make(recording, excerpts, seed, speech);
  std::vector<FeatureBlock> blocks;
  blocks.reserve(questions.size());
  for (const Question& each : questions) {
    blocks.push_back({{each.excerpt, each.condition, each.seconds}, each.features});
  }
  writeBlocks(file, blocks);
  return questions;
}

}  // namespace bench
