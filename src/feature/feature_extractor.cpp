#include "feature/feature_extractor.h"

#include <new>

#include "base/logger.h"

namespace audio {

FeatureExtractor::~FeatureExtractor() {
  audio_data.reset();
  land_mark_finder.reset();
}

std::unique_ptr<FeatureExtractor> FeatureExtractor::create() noexcept {
  std::unique_ptr<FeatureExtractor> extractor(new (std::nothrow) FeatureExtractor);
  if (!extractor) logMessage("alloc feature extractor failed.");
  return extractor;
}

bool FeatureExtractor::init(bool singlePass) {
  outcome_ = ExtractionOutcome::kNotReady;
  land_mark_finder.reset();
  land_mark_finder.reset(new (std::nothrow) AudioLandMarkFinder2D);
  if (!land_mark_finder) {
    logMessage("alloc land mark finder failed.");
    return false;
  }
  return land_mark_finder->init(singlePass);
}

bool FeatureExtractor::loadAudio(const AudioData* audioData) {
  if (!audioData) {
    logMessage("input a null audio.");
    return false;
  }
  audio = audioData;
  features.clear();
  outcome_ = ExtractionOutcome::kNotReady;
  // The finder must not keep a copy that is about to be replaced.
  if (land_mark_finder) land_mark_finder->detachAudio();
  if (!prepareAudioData()) {
    logMessage("prepare audio data failed.");
    return false;
  }
  if (!land_mark_finder || !land_mark_finder->setAudio(audio_data.get())) return false;
  outcome_ = ExtractionOutcome::kNone;
  return true;
}

bool FeatureExtractor::prepareAudioData() {
  if (!audio) {
    logMessage("not input a valid audio.");
    return false;
  }
  sample_rate = audio->sampleRate();
  data_len = audio->dataLen();
  if (data_len == 0) {
    logMessage("audio data len = 0.");
    outcome_ = ExtractionOutcome::kTooShort;
    return false;
  }
  audio_data.reset();
  audio_data = monoMix(*audio);
  if (!audio_data) {
    logMessage("create audio data failed.");
    outcome_ = ExtractionOutcome::kOutOfMemory;
    return false;
  }
  return true;
}

bool FeatureExtractor::extractFeatures() {
  if (!land_mark_finder) {
    logMessage("init not finished.");
    outcome_ = ExtractionOutcome::kNotReady;
    return false;
  }
  // What an exception leaves behind.
  outcome_ = ExtractionOutcome::kOutOfMemory;
  if (!land_mark_finder->findLandMarks()) {
    outcome_ = land_mark_finder->outcome();
    return false;
  }
  const std::vector<LandMark>& landmarks = land_mark_finder->getLandMarks();
  if (landmarks.empty()) {
    logMessage("landmarks is null.");
    outcome_ = ExtractionOutcome::kNoLandMarks;
    return false;
  }
  std::vector<std::uint32_t> hash_keys(landmarks.size());
  computeHashKeys(landmarks.data(), landmarks.size(), hash_keys.data());

  features.clear();
  features.reserve(landmarks.size());
  for (std::size_t i = 0; i < landmarks.size(); ++i) {
    features.push_back({static_cast<std::uint32_t>(landmarks[i].anchorTime), hash_keys[i]});
  }
  if (!land_mark_finder->isSinglePass()) chooseFeatures();
  outcome_ = ExtractionOutcome::kFeatures;
  return true;
}

void FeatureExtractor::chooseFeatures() {
  sortUnique(features);
  logMessage("choose features is %d.", static_cast<int>(features.size()));
}

}  // namespace audio
