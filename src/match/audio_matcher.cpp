#include "match/audio_matcher.h"

#include <new>
#include <utility>

#include "base/logger.h"

namespace audio {
namespace {

void logNoMatch() noexcept { logMessage("matched failed."); }

}  // namespace

AudioMatcher::~AudioMatcher() {
  database_.reset();
  feature_extractor_.reset();
}

bool AudioMatcher::init(const char* dbPath) {
  dropDatabase();
  if (!dbPath) {
    logMessage("input db_path is null.");
  } else if (!loadDatabase(dbPath)) {
    return false;
  }
  return initFeatureExtractor();
}

bool AudioMatcher::init(std::shared_ptr<const AudioDatabase> database) {
  dropDatabase();
  if (database) database_state_ = database->state();
  database_ = std::move(database);
  return initFeatureExtractor();
}

void AudioMatcher::dropDatabase() noexcept {
  database_.reset();
  database_state_ = DatabaseState::kNotLoaded;
  opening_error_ = 0;
  audio_loaded_ = false;
}

bool AudioMatcher::loadDatabase(const char* dbPath) {
  // What a failed allocation leaves behind.
  database_state_ = DatabaseState::kOutOfMemory;
  std::shared_ptr<AudioDatabase> database;
  try {
    database = std::make_shared<AudioDatabase>();
  } catch (const std::bad_alloc&) {
    logMessage("alloc database failed.");
    return false;
  }
  const bool loaded = database->load(dbPath);
  database_state_ = database->state();
  opening_error_ = database->openingError();
  if (loaded) database_ = std::move(database);
  return loaded;
}

bool AudioMatcher::initFeatureExtractor() {
  audio_loaded_ = false;
  feature_extractor_.reset();
  feature_extractor_ = FeatureExtractor::create();
  if (!feature_extractor_) return false;
  if (!feature_extractor_->init(false)) {
    logMessage("feature extractor init failed.");
    return false;
  }
  return true;
}

bool AudioMatcher::forgetHistory() {
  draws_.restart();
  // Making one takes longer than to score a recording's hits.
  return !feature_extractor_ || initFeatureExtractor();
}

bool AudioMatcher::loadAudio(const AudioData* audioData) {
  audio_loaded_ = false;
  discrimination_ = 1.0f;
  if (!audioData) {
    logMessage("input a NULL audio data.");
    return false;
  }
  if (!feature_extractor_) {
    logMessage("feature extractor is NULL.");
    return false;
  }
  audio_data_ = audioData;
  audio_loaded_ = feature_extractor_->loadAudio(audioData);
  return audio_loaded_;
}

bool AudioMatcher::extractFeatures() {
  if (!audio_loaded_) {
    logMessage("audio data have not loaded.");
    return false;
  }
  if (!feature_extractor_->extractFeatures()) return false;
  features_ = feature_extractor_->getFeatures();
  return true;
}

bool AudioMatcher::matchAudio(const AudioData* audioData) {
  startMatch();
  if (!hasDatabase()) return false;
  if (!loadAudio(audioData) || !extractFeatures()) {
    return ended(audioData ? whyNoFeatures() : MatchOutcome::kNoRecording);
  }
  return lookUpAndScore();
}

bool AudioMatcher::matchFeatures(std::vector<AudioFeature> features) {
  startMatch();
  if (!hasDatabase() || !hasFeatures(features)) return false;
  features_ = std::move(features);
  return lookUpAndScore();
}

bool AudioMatcher::matchHits(std::vector<AudioFeature> features,
                             std::span<const AudioHashHit> hits) {
  startMatch();
  if (!hasFeatures(features)) return false;
  features_ = std::move(features);
  if (hits.empty()) return ended(MatchOutcome::kNoHits);
  return judge(hits);
}

/// Matches the features that there are against the database that there is.
bool AudioMatcher::lookUpAndScore() {
  std::vector<AudioHashHit> hits;
  try {
    if (!database_->extractHits(features_, hits)) {
      logMessage("extract all hits from database failed.");
      return ended(MatchOutcome::kNoHits);
    }
  } catch (const DamagedDatabase&) {
    // Memory is what the claimed hits would take; logs are searched for this.
    logOutOfMemory();
    return ended(MatchOutcome::kDamagedDatabase);
  }
  return judge(hits);
}

/// Scores the hits of the features that there are.
bool AudioMatcher::judge(std::span<const AudioHashHit> hits) {
  logMessage("features num: %d", static_cast<int>(features_.size()));
  logMessage("attribute num: %d", static_cast<int>(hits.size()));
  best_match_index_ = scoreHits(hits);
  if (best_match_index_ < 0) {
    logNoMatch();
    return ended(MatchOutcome::kNoAgreement);
  }
  return ended(MatchOutcome::kMatched);
}

bool AudioMatcher::matchAudioByFeaturesAndAttributes(const std::vector<AudioFeature>& features,
                                                     const std::vector<AudioAttribute>& attributes,
                                                     float* discrimination) {
  startMatch();
  if (!hasFeatures(features)) return false;
  if (attributes.empty()) {
    logMessage("audio attributes is empty.");
    return ended(MatchOutcome::kNoHits);
  }
  best_match_index_ = scoreHits(attributeHits(features, attributes));
  // Other negative indices are stream identifiers from 2^31 on.
  if (best_match_index_ == -1) {
    logNoMatch();
    return ended(MatchOutcome::kNoAgreement);
  }
  if (discrimination) *discrimination = discrimination_;
  return ended(MatchOutcome::kMatched);
}

void AudioMatcher::startMatch() noexcept {
  // What an exception leaves behind.
  outcome_ = MatchOutcome::kOutOfMemory;
  candidates_.clear();
  hit_count_ = 0;
}

/// Ends a match that has no database to look into.
bool AudioMatcher::hasDatabase() noexcept {
  if (database_) return true;
  logMessage("query data base is NULL.");
  return ended(MatchOutcome::kNoDatabase);
}

/// Ends a match that was given nothing to look for.
bool AudioMatcher::hasFeatures(const std::vector<AudioFeature>& features) noexcept {
  if (!features.empty()) return true;
  logMessage("audio features is empty.");
  return ended(MatchOutcome::kNoFeatures);
}

/// Notes how a match ended; true for a success.
bool AudioMatcher::ended(MatchOutcome outcome) noexcept {
  outcome_ = outcome;
  return outcome == MatchOutcome::kMatched;
}

/// The outcome of a match whose recording gave no features.
MatchOutcome AudioMatcher::whyNoFeatures() const noexcept {
  switch (extractionOutcome()) {
    case ExtractionOutcome::kNotReady:
      return MatchOutcome::kNoRecording;
    case ExtractionOutcome::kOutOfMemory:
      return MatchOutcome::kOutOfMemory;
    default:
      return MatchOutcome::kNoFeatures;
  }
}

ExtractionOutcome AudioMatcher::extractionOutcome() const noexcept {
  if (!feature_extractor_) return ExtractionOutcome::kNotReady;
  const ExtractionOutcome outcome = feature_extractor_->outcome();
  const bool of_another =
      outcome == ExtractionOutcome::kFeatures || outcome == ExtractionOutcome::kNone;
  return !audio_loaded_ && of_another ? ExtractionOutcome::kNotReady : outcome;
}

std::int32_t AudioMatcher::scoreHits(std::span<const AudioHashHit> hits) {
  hit_count_ = hits.size();
  candidates_ = rankMatches(hits, draws_);
  if (candidates_.empty() || candidates_.front().matched_num == 0) return -1;
  const auto best = static_cast<std::uint32_t>(candidates_[0].matched_num);
  logMessage("most matched feature num is %d.", static_cast<int>(best));
  const auto second =
      candidates_.size() > 1 ? static_cast<std::uint32_t>(candidates_[1].matched_num) : 0u;
  logMessage("second most matched feature num is %d.", static_cast<int>(second));
  discrimination_ = static_cast<float>(best - second) / static_cast<float>(best + second);
  logMessage("most matched audio discrimination is %f.", static_cast<double>(discrimination_));
  return candidates_.front().audio_index;
}

std::string AudioMatcher::bestMatchName() const {
  return database_ ? database_->audioName(best_match_index_) : std::string();
}

int AudioMatcher::discriminationLevel() const noexcept {
  if (discrimination_ < 0.35f) return 0;
  if (discrimination_ < 0.5f) return 1;
  return 2;
}

}  // namespace audio
