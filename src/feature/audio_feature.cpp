#include "feature/audio_feature.h"

#include <algorithm>

namespace audio {

void sortUnique(std::vector<AudioFeature>& features) {
  // As 64-bit numbers, key above time, the pairs compare in one instruction.
  std::vector<std::uint64_t> keys;
  keys.reserve(features.size());
  for (const AudioFeature& feature : features) {
    keys.push_back(static_cast<std::uint64_t>(feature.hashKey) << 32 | feature.startTime);
  }
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());

  features.clear();
  for (const std::uint64_t key : keys) {
    features.push_back({static_cast<std::uint32_t>(key), static_cast<std::uint32_t>(key >> 32)});
  }
}

}  // namespace audio
