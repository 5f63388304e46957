#include "tool/recognition/recogniser.h"

#include <new>
#include <utility>

#include "feature/feature_extractor.h"
#include "match/audio_matcher.h"
#include "tool/input/recording.h"

namespace audiomatch {
namespace {

/// The answer for a recording that has no features, and why.
Answer withoutFeatures(audio::ExtractionOutcome outcome) {
  Answer answer;
  answer.is_silent = outcome == audio::ExtractionOutcome::kSilent;
  if (answer.is_silent) return answer;
  answer.problem = describe(outcome);
  if (!isAnalysable(outcome)) answer.code = ExitCode::kFailure;
  return answer;
}

/// Notes why there is no candidate.
void explain(Answer& answer, audio::MatchOutcome outcome) {
  switch (outcome) {
    case audio::MatchOutcome::kNoFeatures:
      answer.problem = "no features";
      return;
    case audio::MatchOutcome::kNoHits:
      answer.problem = "no match: no feature of it is in the database";
      return;
    case audio::MatchOutcome::kNoAgreement:
      answer.problem = "the database is damaged: it names audios or entries that it hasn't got";
      answer.code = ExitCode::kFailure;
      return;
    default:
      throw std::bad_alloc();
  }
}

}  // namespace

Answer judgeHits(const std::vector<audio::AudioFeature>& features, const FoundHits& found,
                 const Thresholds& thresholds) {
  audio::AudioMatcher matcher;
  // With draws of its own: the same question gets the same answer.
  if (!matcher.forgetHistory()) throw std::bad_alloc();
  Answer answer;
  answer.features = features.size();
  answer.hits = found.hits.size();
  if (!matcher.matchHits(features, found.hits)) {
    explain(answer, matcher.outcome());
    return answer;
  }
  const std::int32_t first = matcher.candidates()[0].audio_index;
  if (static_cast<std::size_t>(first) >= found.names->audioCount()) {
    explain(answer, audio::MatchOutcome::kNoAgreement);
    return answer;
  }
  answer.verdict = judge(matcher.candidates(), features.size(), *found.names, thresholds);
  if (answer.verdict.candidates.empty())
    answer.problem = "no match: no audio that was examined has a name";
  if (found.names->recording(first) >= 0) {
    answer.level = matcher.discriminationLevel();
    answer.engine_discrimination = matcher.discrimination();
  }
  if (answer.verdict.recognised) answer.code = ExitCode::kSuccess;
  return answer;
}

Answer Recogniser::recognise(const audio::AudioData& recording) {
  features_.clear();
  found_ = {};
  audio::FeatureExtractor extractor;
  if (!extractor.init(false)) throw std::bad_alloc();
  if (!extractor.loadAudio(&recording) || !extractor.extractFeatures()) {
    return withoutFeatures(extractor.outcome());
  }
  return recognise(extractor.getFeatures());
}

Answer Recogniser::recognise(std::vector<audio::AudioFeature> features) {
  features_ = std::move(features);
  found_ = references_.find(features_);
  return judgeHits(features_, found_, thresholds_);
}

}  // namespace audiomatch
