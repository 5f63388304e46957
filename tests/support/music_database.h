#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "feature/feature_extractor.h"
#include "support/database_bytes.h"
#include "support/test_audio.h"

namespace testing_support {

/// The features of a recording, in one pass.
inline std::vector<audio::AudioFeature> featuresOf(const audio::AudioDataPtr& recording) {
  audio::FeatureExtractor extractor;
  EXPECT_TRUE(extractor.init(true) && extractor.loadAudio(recording.get()) &&
              extractor.extractFeatures());
  return extractor.getFeatures();
}

/// Adds features to a database's buckets as entries of an audio.
inline void addEntries(Buckets& buckets, std::uint32_t audio,
                       const std::vector<audio::AudioFeature>& features) {
  for (const auto& feature : features) {
    buckets[feature.hashKey].push_back(std::uint64_t{audio} << 14 | feature.startTime);
  }
}

/// A database of recordings: audio i has the name and the features of number i.
inline std::vector<std::uint8_t> databaseOf(const std::vector<std::string>& names,
                                            const std::vector<Recording>& recordings) {
  Buckets buckets;
  for (std::uint32_t i = 0; i < recordings.size(); ++i) {
    addEntries(buckets, i, featuresOf(recordings[i].engine()));
  }
  return databaseBytes(names, buckets);
}

}  // namespace testing_support
