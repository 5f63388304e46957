#pragma once

#include <vector>

#include "feature/audio_feature.h"
#include "feature/feature_extractor.h"

namespace audiomatch {

/// A feature, and how far its peaks stand out. Levels are natural logarithms of
/// magnitudes over the mean of the whole spectrogram.
struct RatedFeature {
  audio::AudioFeature feature;
  float level;   ///< of the weaker of its two peaks
  float around;  ///< of the peaks within two and a half seconds of its anchor, on average
};

/// The features that a single pass found, each once, sorted by hash key, then
/// start time. Throws std::bad_alloc.
///
/// @param extractor  after an extraction that succeeded, with its recording
std::vector<RatedFeature> ratedFeatures(const audio::FeatureExtractor& extractor);

}  // namespace audiomatch
