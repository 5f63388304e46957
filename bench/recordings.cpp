#include "recordings.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <numeric>

#include "feature/feature_extractor.h"
#include "tool/input/decoder.h"
#include "tool/input/recording.h"
#include "tool/input/sound_source.h"

namespace bench {

std::vector<Listed> readList(const char* path) {
  std::ifstream list(path);
  std::vector<Listed> recordings;
  for (Listed each; std::getline(list, each.kind, '\t') && std::getline(list, each.name, '\t') &&
                    std::getline(list, each.path);) {
    recordings.push_back(each);
  }
  return recordings;
}

Sound readMono(const std::string& path) {
  const auto source = audiomatch::openSound(path);
  Sound sound{{}, source->sampleRate()};
  const std::size_t channels = source->channels();
  std::vector<std::int16_t> block;
  do {
    block.clear();
    source->read(block, 8192);
    for (std::size_t i = 0; i < block.size(); i += channels) {
      const int sum = std::accumulate(block.begin() + static_cast<std::ptrdiff_t>(i),
                                      block.begin() + static_cast<std::ptrdiff_t>(i + channels), 0);
      sound.samples.push_back(static_cast<float>(sum) / static_cast<float>(channels) / 32767.0f);
    }
  } while (!block.empty());
  return sound;
}

Sound cut(const Sound& sound, std::size_t start, std::size_t samples) {
  const auto first = sound.samples.begin() + static_cast<std::ptrdiff_t>(start);
  return {{first, first + static_cast<std::ptrdiff_t>(samples)}, sound.rate};
}

std::vector<audio::AudioFeature> featuresOf(const Sound& sound, Passes passes) {
  std::vector<std::int16_t> samples(sound.samples.size());
  std::ranges::transform(sound.samples, samples.begin(), audiomatch::toPcm16);
  const audio::AudioDataPtr recording = audiomatch::toAudio(samples, 1, sound.rate);
  audio::FeatureExtractor extractor;
  if (!extractor.init(passes == Passes::kOne) || !extractor.loadAudio(recording.get()))
    std::abort();
  if (!extractor.extractFeatures()) return {};  // silence
  return extractor.getFeatures();
}

}  // namespace bench
