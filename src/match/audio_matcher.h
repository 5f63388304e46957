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
#include "match/match_outcome.h"
#include "match/scoring/match_ranking.h"
#include "match/scoring/random_draws.h"

namespace audio {

/// Matches recordings against a fingerprint database, hands out their
/// features, or scores features whose entries were found elsewhere.
///
/// Methods that aren't noexcept throw std::bad_alloc or std::length_error when
/// memory for a list is short; the object stays usable, and after a match its
/// outcome says so.
///
/// A matcher is made empty. `init` gives it an extractor and, with a path, a
/// database; the third service needs neither. No failure leaves it unusable.
/// One thread at a time; all matchers of a process draw from one random
/// sequence until `forgetHistory` (see RandomDraws).
class AudioMatcher {
 public:
  AudioMatcher() = default;
  AudioMatcher(const AudioMatcher&) = delete;
  AudioMatcher& operator=(const AudioMatcher&) = delete;
  ~AudioMatcher();

  /// Opens the database and creates the feature extractor. A null path is
  /// logged and leaves the matcher without a database. Fails, with messages,
  /// when the database can't be loaded (`databaseState` tells why) or memory
  /// is short.
  bool init(const char* dbPath);

  /// The same with a database that several matchers share: loaded before, only
  /// read from here on. Null is no database. `databaseState` is then its own.
  bool init(std::shared_ptr<const AudioDatabase> database);

  /// Forgets every recording before, so that what follows depends on nothing
  /// but its own recording: the resampler, if it has one, starts afresh, and the
  /// random draws are from here on a sequence of the matcher's own, at its start.
  /// False, with a message, when memory is short; nothing can then be analysed.
  bool forgetHistory();

  /// Starts a query: loads the recording, which is only read during the call.
  /// Fails, with a message, for null, without an extractor, and as the
  /// extractor does.
  bool loadAudio(const AudioData* audioData);

  /// Extracts the loaded recording's features. Fails, with messages, when no
  /// recording is loaded and as the extractor does; the features then stay as
  /// they were.
  bool extractFeatures();

  /// Features of the last successful extraction.
  const std::vector<AudioFeature>& getFeatures() const noexcept { return features_; }

  /// Loads, extracts, looks up and scores. Fails, with messages, as its steps
  /// do and when there is no database or no hit; `outcome` tells why.
  bool matchAudio(const AudioData* audioData);

  /// Looks up and scores features that were extracted before, as matchAudio
  /// does behind its extraction. Fails, with messages, without a database, for
  /// no features and when there is no hit; `outcome` tells why.
  bool matchFeatures(std::vector<AudioFeature> features);

  /// Scores the hits of features that were looked up elsewhere, as
  /// matchFeatures does behind its look-up; needs neither database nor
  /// extractor. Fails, with a message, for no features, without one for no hit,
  /// and as matchFeatures does; `outcome` tells why.
  ///
  /// @param hits  of each feature in turn, its entries in the order of their bucket
  bool matchHits(std::vector<AudioFeature> features, std::span<const AudioHashHit> hits);

  /// Scores features with the entries found for them, expected in feature
  /// order (see attributeHits). Fails, with a message, when a list is empty or
  /// the best candidate is what nothing was found for.
  ///
  /// @param discrimination  receives it on success; may be null
  bool matchAudioByFeaturesAndAttributes(const std::vector<AudioFeature>& features,
                                         const std::vector<AudioAttribute>& attributes,
                                         float* discrimination);

  /// Name of the best match, logged; empty when there is none. Like the three
  /// below it speaks of the latest scoring: ask after a success only.
  std::string bestMatchName() const;

  /// Audio index of the last best match, -1 for none.
  std::int32_t bestMatchIndex() const noexcept { return best_match_index_; }

  /// How clearly the best beat the second: (best - second) / (best + second),
  /// 0 to 1; 1 after a load.
  float discrimination() const noexcept { return discrimination_; }

  /// 0 below a discrimination of 0.35, 1 below 0.5, else 2.
  int discriminationLevel() const noexcept;

  /// How the last match, of either kind, ended.
  MatchOutcome outcome() const noexcept { return outcome_; }

  /// What came of the last recording's extraction.
  ExtractionOutcome extractionOutcome() const noexcept;

  /// The candidates of the last match, at most 20, best first; empty when it
  /// ended before scoring.
  const std::vector<Match>& candidates() const noexcept { return candidates_; }

  /// Number of hits that the last match collected.
  std::size_t hitCount() const noexcept { return hit_count_; }

  /// The database, or null; the matcher keeps it alive.
  const AudioDatabase* database() const noexcept { return database_.get(); }

  /// What became of the database that the last `init` was given, and the
  /// system's error number where it couldn't be opened (else 0).
  DatabaseState databaseState() const noexcept { return database_state_; }
  int openingError() const noexcept { return opening_error_; }

 private:
  void dropDatabase() noexcept;
  bool loadDatabase(const char* dbPath);
  bool initFeatureExtractor();
  void startMatch() noexcept;
  bool ended(MatchOutcome outcome) noexcept;
  bool hasDatabase() noexcept;
  bool hasFeatures(const std::vector<AudioFeature>& features) noexcept;
  MatchOutcome whyNoFeatures() const noexcept;
  bool lookUpAndScore();
  bool judge(std::span<const AudioHashHit> hits);
  std::int32_t scoreHits(std::span<const AudioHashHit> hits);

  bool audio_loaded_ = false;
  const AudioData* audio_data_ = nullptr;
  std::int32_t best_match_index_ = -1;
  std::shared_ptr<const AudioDatabase> database_;
  std::vector<AudioFeature> features_;
  std::unique_ptr<FeatureExtractor> feature_extractor_;
  float discrimination_ = 1.0f;

  DatabaseState database_state_ = DatabaseState::kNotLoaded;
  int opening_error_ = 0;
  RandomDraws draws_;
  MatchOutcome outcome_ = MatchOutcome::kNone;
  std::vector<Match> candidates_;
  std::size_t hit_count_ = 0;
};

}  // namespace audio
