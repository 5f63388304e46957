#pragma once

#include <vector>

#include "feature/audio_feature.h"

namespace audio {

/// Orders features by hash key, then start time, and keeps one of each pair.
void sortUnique(std::vector<AudioFeature>& features);

}  // namespace audio
