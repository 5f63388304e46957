#pragma once

#include <vector>

#include "feature/audio_feature.h"
#include "match/audio_attribute.h"
#include "match/audio_hash_hit.h"

namespace audio {

/// One hit per attribute, for features whose entries were looked up elsewhere.
///
/// The attributes are expected in feature order: for each feature, the entries
/// found under its key, one after another. Both lists are walked together;
/// each feature takes the attributes that come next and have its key. Those
/// never reached become placeholders.
std::vector<AudioHashHit> attributeHits(const std::vector<AudioFeature>& features,
                                        const std::vector<AudioAttribute>& attributes);

}  // namespace audio
