#include "tool/recognition/recogniser.h"

#include <new>
#include <utility>

#include "tool/input/recording.h"

namespace audiomatch {

Answer Recogniser::recognise(const audio::AudioData& recording) {
  startAfresh();
  const bool matched = matcher_.matchAudio(&recording);
  if (matcher_.extractionOutcome() == audio::ExtractionOutcome::kFeatures) {
    features_ = matcher_.getFeatures();
  }
  return answer(matched);
}

Answer Recogniser::recognise(std::vector<audio::AudioFeature> features) {
  startAfresh();
  const bool matched = matcher_.matchFeatures(std::move(features));
  features_ = matcher_.getFeatures();
  return answer(matched);
}

void Recogniser::startAfresh() {
  features_.clear();
  if (!has_database_ && !matcher_.init(database_.shared())) throw std::bad_alloc();
  has_database_ = true;
  if (!matcher_.forgetHistory()) throw std::bad_alloc();
}

Answer Recogniser::answer(bool matched) {
  Answer answer;
  answer.features = features_.size();
  answer.hits = matcher_.hitCount();
  if (!matched) {
    explain(answer);
    return answer;
  }
  answer.verdict = judge(matcher_.candidates(), features_.size(), database_, thresholds_);
  if (answer.verdict.candidates[0].name.empty()) {
    answer.problem = "the best match has no name: the database is damaged";
    answer.code = ExitCode::kFailure;
    return answer;
  }
  answer.level = matcher_.discriminationLevel();
  answer.engine_discrimination = matcher_.discrimination();
  if (answer.verdict.recognised) answer.code = ExitCode::kSuccess;
  return answer;
}

/// Notes why there is no candidate.
void Recogniser::explain(Answer& answer) const {
  switch (matcher_.outcome()) {
    case audio::MatchOutcome::kNoFeatures:
      answer.is_silent = matcher_.extractionOutcome() == audio::ExtractionOutcome::kSilent;
      if (answer.is_silent) return;
      answer.problem = describe(matcher_.extractionOutcome());
      if (!isAnalysable(matcher_.extractionOutcome())) answer.code = ExitCode::kFailure;
      return;
    case audio::MatchOutcome::kNoHits:
      answer.problem = "no match: no feature of it is in the database";
      return;
    case audio::MatchOutcome::kNoAgreement:
    case audio::MatchOutcome::kDamagedDatabase:
      answer.problem = "the database is damaged: it names audios or entries that it hasn't got";
      answer.code = ExitCode::kFailure;
      return;
    default:
      throw std::bad_alloc();
  }
}

}  // namespace audiomatch
