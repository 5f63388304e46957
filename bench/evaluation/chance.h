#pragma once

#include <cstddef>
#include <random>
#include <span>
#include <vector>

#include "match/database/audio_hash_hit.h"

namespace bench {

/// The hits of a collection that is larger than the one that was asked: for each audio but
/// the true ones there are so many more that are like it.
///
/// A further audio has about as many hits as its model (Poisson), drawn from the model's and each
/// moved a little, so that they agree about as music's do that repeats itself; as some are drawn
/// twice, a few of very many agree more. docs/recognition.md holds it against real audios.
///
/// @param hits       all that were found in the collection
/// @param is_chance  by audio index: false for the true ones, which have no copies
/// @param copies     further audios for each one
/// @return those hits and behind them those of further audios, whose indices go on from the
///         last of `is_chance`
std::vector<audio::AudioHashHit> growByChance(std::span<const audio::AudioHashHit> hits,
                                              const std::vector<bool>& is_chance,
                                              std::size_t copies, std::mt19937_64& random);

}  // namespace bench
