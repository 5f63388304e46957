#pragma once

#include <cstdint>
#include <vector>

#include "feature/audio_feature.h"
#include "match/database/audio_hash_hit.h"

namespace audio {

/// A feature's hash key with the packed entry found, or made, for it.
struct AudioAttribute {
  std::uint64_t hashValue;  ///< packed entry: time and audio index
  std::uint32_t hashKey;    ///< landmark hash, below 2^20

  friend bool operator==(const AudioAttribute&, const AudioAttribute&) = default;
};

/// One hit per attribute, for features whose entries were looked up elsewhere.
///
/// The attributes are expected in feature order: for each feature, the entries
/// found under its key, one after another. Both lists are walked together;
/// each feature takes the attributes that come next and have its key. Those
/// never reached become placeholders. Throws std::bad_alloc.
std::vector<AudioHashHit> attributeHits(const std::vector<AudioFeature>& features,
                                        const std::vector<AudioAttribute>& attributes);

}  // namespace audio
