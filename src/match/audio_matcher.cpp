#include "match/audio_matcher.h"

#include <new>
#include <utility>

#include "base/logger.h"
#include "match/scoring/match_ranking.h"

namespace audio {

AudioMatcher::~AudioMatcher() {
  database_.reset();
  feature_extractor_.reset();
}

bool AudioMatcher::init(const char* dbPath) {
  database_.reset();
  audio_loaded_ = false;
  if (!dbPath) {
    logMessage("input db_path is null.");
    return initFeatureExtractor();
  }
  std::unique_ptr<AudioDatabase> database(new (std::nothrow) AudioDatabase);
  if (!database) {
    logMessage("alloc database failed.");
    return false;
  }
  if (!database->load(dbPath)) return false;
  database_ = std::move(database);
  return initFeatureExtractor();
}

bool AudioMatcher::initFeatureExtractor() {
  audio_loaded_ = false;
  feature_extractor_.reset();
  feature_extractor_.reset(new (std::nothrow) FeatureExtractor);
  if (!feature_extractor_) {
    logMessage("alloc feature extractor failed.");
    return false;
  }
  if (!feature_extractor_->init(false)) {
    logMessage("feature extractor init failed.");
    return false;
  }
  return true;
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
  hit_count_ = 0;
  if (!database_) {
    logMessage("query data base is NULL.");
    return false;
  }
  if (!loadAudio(audioData) || !extractFeatures()) return false;
  std::vector<AudioHashHit> hits;
  if (!database_->extractHits(features_, hits)) {
    logMessage("extract all hits from database failed.");
    return false;
  }
  hit_count_ = hits.size();
  logMessage("features num: %d", static_cast<int>(features_.size()));
  logMessage("attribute num: %d", static_cast<int>(hits.size()));
  best_match_index_ = scoreHits(hits);
  if (best_match_index_ < 0) {
    logMessage("matched failed.");
    return false;
  }
  return true;
}

bool AudioMatcher::matchAudioByFeaturesAndAttributes(const std::vector<AudioFeature>& features,
                                                     const std::vector<AudioAttribute>& attributes,
                                                     float* discrimination) {
  if (features.empty()) {
    logMessage("audio features is empty.");
    return false;
  }
  if (attributes.empty()) {
    logMessage("audio attributes is empty.");
    return false;
  }
  best_match_index_ = scoreHits(attributeHits(features, attributes));
  // Other negative indices are stream identifiers from 2^31 on.
  if (best_match_index_ == -1) {
    logMessage("matched failed.");
    return false;
  }
  if (discrimination) *discrimination = discrimination_;
  return true;
}

std::int32_t AudioMatcher::scoreHits(std::span<const AudioHashHit> hits) {
  const std::vector<Match> matches = rankMatches(hits, draws_);
  if (matches.empty() || matches.front().matched_num == 0) return -1;
  const auto best = static_cast<std::uint32_t>(matches[0].matched_num);
  logMessage("most matched feature num is %d.", static_cast<int>(best));
  const auto second = matches.size() > 1 ? static_cast<std::uint32_t>(matches[1].matched_num) : 0u;
  logMessage("second most matched feature num is %d.", static_cast<int>(second));
  discrimination_ = static_cast<float>(best - second) / static_cast<float>(best + second);
  logMessage("most matched audio discrimination is %f.", static_cast<double>(discrimination_));
  return matches.front().audio_index;
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
