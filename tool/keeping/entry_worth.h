#pragma once

#include <cstdint>

#include "tool/keeping/rated_features.h"

namespace audiomatch {

/// The natural logarithm of how likely it is that somebody who hears the
/// recording through noise, a codec, a room, or a little faster or slower has the
/// feature, too: of a logistic regression. What stands out survives noise; low
/// peaks and short pairs survive other speeds.
double logSurvival(const RatedFeature& feature) noexcept;

/// The natural logarithm of how common a key is in music, over the mean key: so
/// many more hits it has by chance. A product of what its two bins, their
/// interval and the frames between them are worth; of a key that no landmark
/// has, 0 for what is not known.
double logChance(std::uint32_t hash_key) noexcept;

}  // namespace audiomatch
