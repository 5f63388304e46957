#pragma once

#include <span>
#include <string>
#include <vector>

#include "match/database/database_writer.h"
#include "references.h"

namespace bench {

/// Chooses the entries of a collection.
///
/// @param name  "all"; "chosen-N", as the tool's --entries N; or "random-N": up to N an audio,
///              whatever they are. Throws std::invalid_argument for another
/// @param references  their features, which are used up
std::vector<audio::DatabaseAudio> build(const std::string& name,
                                        const std::vector<Reference>& references,
                                        std::span<ReferenceFeatures> features);

}  // namespace bench
