#include "match/audio_attribute.h"

#include <cstddef>

namespace audio {

std::vector<AudioHashHit> attributeHits(const std::vector<AudioFeature>& features,
                                        const std::vector<AudioAttribute>& attributes) {
  std::vector<AudioHashHit> hits(attributes.size(), kPlaceholderHit);
  std::size_t next = 0;
  for (const AudioFeature& feature : features) {
    for (; next < attributes.size() && attributes[next].hashKey == feature.hashKey; ++next) {
      hits[next] = hitOf(attributes[next].hashValue, feature.startTime);
    }
  }
  return hits;
}

}  // namespace audio
