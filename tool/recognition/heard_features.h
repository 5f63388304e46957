#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "feature/audio_feature.h"
#include "tool/recognition/references.h"

namespace audiomatch {

/// What a stretch of sound and a recording have in common on one offset.
struct Agreement {
  std::int32_t features = 0;  ///< those that agree
  std::int32_t offset = 0;    ///< their median one, in frames
  // Between which frames of the stretch the recording is heard: the first
  // anchor and the last target that others are close to.
  std::int32_t first_frame = 0;
  std::int32_t last_frame = 0;
};

/// Counts the features that agree with a recording on an offset, as the engine
/// counts, but on one that is known: an hour's hearing of a recording is
/// followed by it, even where another audio has more in common for a moment.
///
/// @param found      what the references have of the features
/// @param recording  its first audio
/// @param offset     frames of the recording at the start of the stretch
Agreement agreementAt(std::span<const audio::AudioFeature> features, const FoundHits& found,
                      std::int32_t recording, std::int32_t offset);

}  // namespace audiomatch
