#include "tool/recognition/recogniser.h"

#include <algorithm>
#include <new>
#include <span>
#include <utility>

#include "feature/feature_extractor.h"
#include "match/audio_matcher.h"
#include "tool/input/recording.h"
#include "tool/recognition/agreement_sieve.h"

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

/// Lets the engine examine hits, and judges what it says. With draws of its own: the same
/// question gets the same answer.
Answer examine(audio::AudioMatcher& matcher, const std::vector<audio::AudioFeature>& features,
               std::span<const audio::AudioHashHit> hits, const ReferenceNames& names,
               const Thresholds& thresholds) {
  if (!matcher.forgetHistory()) throw std::bad_alloc();
  Answer answer;
  answer.features = features.size();
  answer.hits = hits.size();
  if (!matcher.matchHits(features, hits)) {
    explain(answer, matcher.outcome());
    return answer;
  }
  const std::int32_t first = matcher.candidates()[0].audio_index;
  if (static_cast<std::size_t>(first) >= names.audioCount()) {
    explain(answer, audio::MatchOutcome::kNoAgreement);
    return answer;
  }
  answer.verdict = judge(matcher.candidates(), features.size(), names, thresholds);
  if (answer.verdict.candidates.empty())
    answer.problem = "no match: no audio that was examined has a name";
  if (names.recording(first) >= 0) {
    answer.level = matcher.discriminationLevel();
    answer.engine_discrimination = matcher.discrimination();
  }
  if (answer.verdict.recognised) answer.code = ExitCode::kSuccess;
  return answer;
}

/// The audios that are examined where those with the most hits weren't the right ones: by their
/// agreeing hits, then those that were examined already. None, if nothing can be recognised.
///
/// @param examined  before
/// @param needed    agreeing hits of what is recognised
std::vector<std::int32_t> nominees(const FoundHits& found, std::span<const audio::Match> examined,
                                   std::int32_t needed) {
  // Rivals that leave the best a lead of one half.
  constexpr std::int32_t kRivalShare = 3;
  const AgreementSieve sieve(found.hits);
  const auto has_no_name = [&](const auto& audio) {
    return found.names->recording(audio.audio_index) < 0;
  };
  const std::vector<AgreeingAudio> enough = sieve.audiosWith(needed);
  const auto first = std::find_if_not(enough.begin(), enough.end(), has_no_name);
  if (first == enough.end()) return {};
  std::vector<std::int32_t> audios;
  const auto add = [&](const auto& audio) {
    const bool is_there = std::ranges::find(audios, audio.audio_index) != audios.end();
    if (audios.size() == audio::kMaxCandidates || is_there || has_no_name(audio)) return;
    audios.push_back(audio.audio_index);
  };
  for (const AgreeingAudio& each : sieve.audiosWith(first->agreeing / kRivalShare)) add(each);
  for (const audio::Match& each : examined) add(each);
  return audios;
}

/// The hits of some audios, in their order.
std::vector<audio::AudioHashHit> hitsOf(const FoundHits& found,
                                        const std::vector<std::int32_t>& audios) {
  std::vector<bool> is_wanted(found.names->audioCount());
  for (const std::int32_t audio : audios) is_wanted[static_cast<std::size_t>(audio)] = true;
  std::vector<audio::AudioHashHit> hits;
  for (const audio::AudioHashHit& hit : found.hits) {
    const auto audio = static_cast<std::size_t>(hit.audio_index);
    if (audio < is_wanted.size() && is_wanted[audio]) hits.push_back(hit);
  }
  return hits;
}

}  // namespace

Answer judgeHits(const std::vector<audio::AudioFeature>& features, const FoundHits& found,
                 const Thresholds& thresholds) {
  audio::AudioMatcher matcher;
  Answer answer = examine(matcher, features, found.hits, *found.names, thresholds);
  const bool were_all_examined = matcher.candidates().size() < audio::kMaxCandidates;
  if (answer.code != ExitCode::kNoMatch || were_all_examined) return answer;
  const Thresholds among_all = thresholds.amongAll();
  const std::vector<std::int32_t> audios =
      nominees(found, matcher.candidates(), among_all.needed(features.size()));
  if (audios.empty()) return answer;
  Answer second = examine(matcher, features, hitsOf(found, audios), *found.names, among_all);
  second.hits = answer.hits;
  return second.verdict.recognised ? second : answer;
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
