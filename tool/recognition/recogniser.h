#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/audio_data.h"
#include "feature/audio_feature.h"
#include "match/audio_matcher.h"
#include "tool/base/errors.h"
#include "tool/recognition/reference_database.h"
#include "tool/recognition/verdict.h"

namespace audiomatch {

/// The answer for one recording.
struct Answer {
  Verdict verdict;
  std::size_t features = 0;
  std::size_t hits = 0;
  /// The engine's own word on its first two audios, whatever their names;
  /// nothing when there is no candidate.
  std::optional<int> level;
  std::optional<float> engine_discrimination;
  bool is_silent = false;  ///< so there is no candidate
  std::string problem;     ///< why else there is none; empty when there is one
  /// kSuccess when recognised, kNoMatch when not, kFailure when it couldn't be
  /// found out.
  ExitCode code = ExitCode::kNoMatch;
};

/// Recognises recordings by a database, each answer depending on nothing but
/// its own recording. One thread at a time; several share a database.
class Recogniser {
 public:
  /// @param database  outlives this object
  Recogniser(const ReferenceDatabase& database, const Thresholds& thresholds)
      : database_(database), thresholds_(thresholds) {}

  /// Recognises a recording. Throws std::bad_alloc.
  Answer recognise(const audio::AudioData& recording);

  /// Recognises a fingerprint that was made before, likewise.
  Answer recognise(std::vector<audio::AudioFeature> features);

  /// The features of the last recording; empty when it has none.
  const std::vector<audio::AudioFeature>& features() const noexcept { return features_; }

 private:
  void startAfresh();
  Answer answer(bool matched);
  void explain(Answer& answer) const;

  const ReferenceDatabase& database_;
  Thresholds thresholds_;
  audio::AudioMatcher matcher_;
  bool has_database_ = false;
  std::vector<audio::AudioFeature> features_;
};

}  // namespace audiomatch
