#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/audio_data.h"
#include "feature/audio_feature.h"
#include "feature/feature_extractor.h"
#include "match/audio_attribute.h"
#include "match/database/audio_database.h"
#include "match/database/audio_hash_hit.h"
#include "match/scoring/random_draws.h"

namespace audio {

/// Matches recordings against a fingerprint database, hands out their
/// features, or scores features whose entries were found elsewhere.
///
/// Methods that aren't noexcept throw std::bad_alloc or std::length_error when
/// memory for a list is short; the object stays usable.
///
/// A matcher is made empty. `init` gives it an extractor and, with a path, a
/// database; the third service needs neither. No failure leaves it unusable.
/// One thread at a time; all matchers of a process draw from one random
/// sequence (see RandomDraws).
class AudioMatcher {
 public:
  AudioMatcher() = default;
  AudioMatcher(const AudioMatcher&) = delete;
  AudioMatcher& operator=(const AudioMatcher&) = delete;
  ~AudioMatcher();

  /// Opens the database and creates the feature extractor. A null path is
  /// logged ("input db_path is null.") and leaves the matcher without a
  /// database. Failures: "alloc database failed.", the database's messages,
  /// those of `initFeatureExtractor`.
  bool init(const char* dbPath);

  /// Replaces the feature extractor by a fresh one, whose resampler remembers
  /// no recording. Failures: "alloc feature extractor failed.", "feature
  /// extractor init failed.".
  bool initFeatureExtractor();

  /// Starts a query: loads the recording, which is only read during the call.
  /// Failures: "input a NULL audio data.", "feature extractor is NULL.", the
  /// extractor's messages.
  bool loadAudio(const AudioData* audioData);

  /// Extracts the loaded recording's features. Failures: "audio data have not
  /// loaded." or the extractor's messages; the features then stay as they were.
  bool extractFeatures();

  /// Features of the last successful extraction.
  const std::vector<AudioFeature>& getFeatures() const noexcept { return features_; }

  /// Loads, extracts, looks up and scores. Failures: "query data base is
  /// NULL.", those of the steps, "hit results is empty." with "extract all
  /// hits from database failed.", "matched failed.".
  bool matchAudio(const AudioData* audioData);

  /// Scores features with the entries found for them, expected in feature
  /// order (see attributeHits). Failures: "audio features is empty.", "audio
  /// attributes is empty.", "matched failed.".
  ///
  /// @param discrimination  receives it on success; may be null
  bool matchAudioByFeaturesAndAttributes(const std::vector<AudioFeature>& features,
                                         const std::vector<AudioAttribute>& attributes,
                                         float* discrimination);

  /// Name of the best match, logged; empty when there is none. Like the two
  /// below it speaks of the latest scoring: ask after a success only.
  std::string bestMatchName() const;

  /// Audio index of the last best match, -1 for none.
  std::int32_t bestMatchIndex() const noexcept { return best_match_index_; }

  /// How clearly the best beat the second: (best - second) / (best + second),
  /// 0 to 1; 1 after a load.
  float discrimination() const noexcept { return discrimination_; }

  /// 0 below a discrimination of 0.35, 1 below 0.5, else 2.
  int discriminationLevel() const noexcept;

  /// Number of hits that the last `matchAudio` collected.
  std::size_t hitCount() const noexcept { return hit_count_; }

 private:
  std::int32_t scoreHits(std::span<const AudioHashHit> hits);

  bool audio_loaded_ = false;
  const AudioData* audio_data_ = nullptr;
  std::int32_t best_match_index_ = -1;
  std::unique_ptr<AudioDatabase> database_;
  std::vector<AudioFeature> features_;
  std::unique_ptr<FeatureExtractor> feature_extractor_;
  float discrimination_ = 1.0f;
  std::size_t hit_count_ = 0;
  RandomDraws draws_;
};

}  // namespace audio
