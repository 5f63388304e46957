#pragma once

#include <cstddef>
#include <vector>

#include "feature/audio_feature.h"
#include "tool/keeping/rated_features.h"

namespace audiomatch {

/// Chooses the features of an audio that become database entries: sorted by
/// hash key, then start time.
///
/// Matching examines only the few audios with the most hits, so each audio may
/// collect only so many by chance: `room` is what that many entries of mean
/// keys collect, and an entry takes as much of it as its key is common, at least a
/// quarter. What is likely to survive, of rare keys, goes first. Room is shared out evenly among
/// seconds, half of it among bands of frequency within them, since noise, voices
/// and rooms take what is next to each other. A key that an audio repeats, as
/// loops do, takes more room each time: one question's feature hits them all.
///
/// The same on every machine: worth and room are whole numbers. Throws
/// std::bad_alloc.
///
/// @param rated  as ratedFeatures has them
/// @param room   kEveryEntry keeps all
std::vector<audio::AudioFeature> chooseEntries(const std::vector<RatedFeature>& rated,
                                               std::size_t room);

}  // namespace audiomatch
