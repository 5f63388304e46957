#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "feature/audio_feature.h"
#include "tool/picture/match_picture.h"
#include "tool/recognition/references.h"
#include "tool/recognition/verdict.h"

namespace audiomatch {

/// The hits of the first `most` candidates, those of all parts of a long
/// reference together. Throws std::bad_alloc.
///
/// @param features  of the query
/// @param hits      what the references have of them
/// @param from      second of the recording at which the query starts
std::vector<CandidateHits> leadingHits(std::span<const audio::AudioFeature> features,
                                       const Verdict& verdict, const FoundHits& hits, double from,
                                       std::size_t most);

}  // namespace audiomatch
