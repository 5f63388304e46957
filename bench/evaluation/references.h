#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "recordings.h"
#include "tool/keeping/rated_features.h"

namespace bench {

/// A recording of a collection, or a copy at another speed, which the engine doesn't take for it.
struct Reference {
  std::string name;
  const Listed* recording;
  bool exact;                    ///< resampled by the engine rather than as the tool does
  double speed;                  ///< 1, or up to a third more or less
  std::filesystem::path file{};  ///< that keeps its features
};

/// All features of a reference, before a builder chooses.
struct ReferenceFeatures {
  double seconds;
  std::vector<std::vector<audiomatch::RatedFeature>> parts;  ///< of up to 16,384 frames each
};

/// A collection of so many: the recordings, then copies of all of them, 8 to 33 % faster or slower,
/// one speed after another.
///
/// @param folder  where features are kept, of its own for `exact`
/// @param exact   leave it to the engine to resample recordings
std::vector<Reference> collectionOf(const std::vector<const Listed*>& recordings, std::size_t count,
                                    const std::filesystem::path& folder, bool exact);

/// The features of a reference: analysed, unless its file has them. Throws FileError.
ReferenceFeatures featuresOfReference(const Reference& reference);

}  // namespace bench
