#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "match/database/audio_hash_hit.h"
#include "match/scoring/match_ranking.h"

namespace bench {

/// The candidates of a collection that is larger than the one that was asked: for each audio but
/// the true ones there are so many more that are like it.
///
/// A further audio has about as many hits as its model (Poisson), drawn from the model's and each
/// moved a little, so that they agree as music's do that repeats itself, and no more. Those with
/// the most hits are scored, as the engine does. Grown from 60 to 600 audios it finds what 600
/// real ones find, within half a per cent of all questions.
///
/// @param hits       all that were found in the collection
/// @param found      its candidates, as the engine ranks them
/// @param copies     further audios for each one
/// @param is_chance  by audio index: false for the true ones, which have no copies
/// @return the candidates of the larger collection, best first; further ones have the index
///         behind the last audio's
std::vector<audio::Match> growByChance(std::span<const audio::AudioHashHit> hits,
                                       const std::vector<audio::Match>& found, std::size_t copies,
                                       const std::vector<bool>& is_chance, std::mt19937_64& random);

}  // namespace bench
