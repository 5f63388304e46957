#include "questions.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string_view>
#include <utility>

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

/// A stretch of a recording, and its first sample there.
struct Stretch {
  Sound sound;
  std::size_t start;
};

/// A stretch with sound in it, or an empty one.
Stretch drawStretch(const Sound& whole, std::mt19937_64& random) {
  const auto length = static_cast<std::size_t>((kLead + kLongest + kMargin) * whole.rate);
  for (int i = 0; i < kTries && length <= whole.samples.size(); ++i) {
    const std::size_t start = random() % (whole.samples.size() - length + 1);
    Sound stretch = cut(whole, start, length);
    if (!isSilent(stretch)) return {std::move(stretch), start};
  }
  return {{{}, whole.rate}, 0};
}

/// The questions of an excerpt's sound, of each length.
void append(std::vector<Question>& questions, const Sound& heard, Question about) {
  const auto lead = static_cast<std::size_t>(kLead * heard.rate);
  for (const std::uint32_t seconds : kAskedSeconds) {
    const std::size_t length =
        std::min<std::size_t>(std::size_t{seconds} * heard.rate, heard.samples.size() - lead);
    about.seconds = seconds;
    about.features = featuresOf(cut(heard, lead, length));
    questions.push_back(about);
  }
}

std::vector<Question> make(const Listed& recording, std::uint32_t excerpts, std::uint64_t seed,
                           const Sound& speech) {
  const Sound whole = readMono(recording.path);
  std::vector<Question> questions;
  for (std::uint32_t excerpt = 0; excerpt < excerpts; ++excerpt) {
    std::mt19937_64 random(seedOf(recording.name, seed, excerpt));
    const auto [sound, first] = drawStretch(whole, random);
    if (sound.samples.empty()) continue;
    const Heard heard{sound, speech};
    const double start = static_cast<double>(first) / whole.rate + kLead;
    for (std::uint32_t i = 0; i < allConditions().size(); ++i) {
      const Condition& condition = allConditions()[i];
      // Of its own, so that a new condition changes no other.
      std::mt19937_64 noise(seedOf(condition.name, seedOf(recording.name, seed, excerpt), 0));
      append(questions, condition.apply(heard, noise),
             {excerpt, i, 0, static_cast<std::uint32_t>(std::lround(start * 1e6)), {}});
    }
  }
  return questions;
}

}  // namespace

std::vector<Question> questionsAbout(const Listed& recording, std::uint32_t excerpts,
                                     std::uint64_t seed, const Sound& speech,
                                     const std::filesystem::path& file) {
  std::vector<Question> questions;
  if (auto blocks = readBlocks<audio::AudioFeature>(file)) {
    for (auto& block : *blocks) {
      const auto [excerpt, condition, seconds, start] = block.numbers;
      questions.push_back({excerpt, condition, seconds, start, std::move(block.features)});
    }
    return questions;
  }
  questions = make(recording, excerpts, seed, speech);
  std::vector<FeatureBlock<audio::AudioFeature>> blocks;
  blocks.reserve(questions.size());
  for (const Question& each : questions) {
    blocks.push_back({{each.excerpt, each.condition, each.seconds, each.start}, each.features});
  }
  writeBlocks(file, blocks);
  return questions;
}

}  // namespace bench
