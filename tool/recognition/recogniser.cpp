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

/// Judges what the engine says.
Answer judgeExamined(audio::AudioMatcher& matcher, const std::vector<audio::AudioFeature>& features,
                     const FoundHits& found, const Thresholds& thresholds) {
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

/// Whether each hit is of an audio that was examined.
bool wereAllExamined(std::span<const audio::Match> examined, std::size_t hits) {
  std::size_t seen = 0;
  for (const audio::Match& each : examined) seen += static_cast<std::size_t>(each.hit_count);
  return seen == hits;
}

/// How many hits each audio has that is there.
std::vector<std::int32_t> hitCounts(const FoundHits& found) {
  std::vector<std::int32_t> counts(found.names->audioCount());
  for (const audio::AudioHashHit& hit : found.hits) {
    const auto audio = static_cast<std::size_t>(hit.audio_index);
    if (audio < counts.size()) ++counts[audio];
  }
  return counts;
}

/// Judges the audios by their agreeing hits, and behind them those that were examined.
Verdict judgeAmongAll(std::span<const audio::Match> examined, std::size_t features,
                      const FoundHits& found, const Thresholds& thresholds) {
  const AgreementSieve sieve(found.hits);
  const auto named = [&](std::int32_t least) {
    std::vector<AgreeingAudio> audios = sieve.audiosWith(least);
    std::erase_if(audios, [&](const AgreeingAudio& audio) {
      return found.names->recording(audio.audio_index) < 0;
    });
    return audios;
  };
  // Of strangers nothing has so many, which is soon seen.
  const std::vector<AgreeingAudio> enough = named(thresholds.needed(features));
  if (enough.empty()) return {};
  std::vector<AgreeingAudio> agreeing = named(thresholds.leastRival(enough.front().agreeing));
  agreeing.resize(std::min(agreeing.size(), audio::kMaxCandidates));
  const std::vector<std::int32_t> hits = hitCounts(found);
  std::vector<audio::Match> matches;
  for (const AgreeingAudio& each : agreeing) {
    const std::int32_t own = hits[static_cast<std::size_t>(each.audio_index)];
    matches.push_back({each.audio_index, each.agreeing, 0.0, own, each.offset});
  }
  for (const audio::Match& each : examined) {
    const bool is_there = std::ranges::find(agreeing, each.audio_index,
                                            &AgreeingAudio::audio_index) != agreeing.end();
    if (!is_there && matches.size() < audio::kMaxCandidates) matches.push_back(each);
  }
  return judge(matches, features, *found.names, thresholds);
}

}  // namespace

Answer judgeHits(const std::vector<audio::AudioFeature>& features, const FoundHits& found,
                 const Thresholds& thresholds) {
  audio::AudioMatcher matcher;
  Answer answer = judgeExamined(matcher, features, found, thresholds);
  if (answer.code != ExitCode::kNoMatch ||
      wereAllExamined(matcher.candidates(), found.hits.size())) {
    return answer;
  }
  Verdict verdict =
      judgeAmongAll(matcher.candidates(), features.size(), found, thresholds.amongAll());
  if (!verdict.recognised) return answer;
  answer.verdict = std::move(verdict);
  answer.problem.clear();
  answer.code = ExitCode::kSuccess;
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
