#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/audio_data.h"
#include "feature/audio_feature.h"
#include "tool/base/errors.h"
#include "tool/recognition/references.h"
#include "tool/recognition/verdict.h"

namespace audiomatch {

/// The answer for one recording.
struct Answer {
  Verdict verdict;
  std::size_t features = 0;
  std::size_t hits = 0;
  /// The engine's own word on its first two audios, whatever their names;
  /// nothing when there is no candidate, or the first has no name.
  std::optional<int> level;
  std::optional<float> engine_discrimination;
  bool is_silent = false;  ///< so there is no candidate
  std::string problem;     ///< why else there is none; empty when there is one
  /// kSuccess when recognised, kNoMatch when not, kFailure when it couldn't be
  /// found out.
  ExitCode code = ExitCode::kNoMatch;
};

/// Judges what was found of a recording; the answer depends on nothing else.
/// Throws std::bad_alloc.
///
/// The engine examines the audios with the most hits. Where that recognises nothing, and
/// there are others, those with the most hits that agree are judged: in a large collection
/// many audios have more hits by chance than the right one in noise.
Answer judgeHits(const std::vector<audio::AudioFeature>& features, const FoundHits& found,
                 const Thresholds& thresholds);

/// Recognises recordings by references, each answer depending on nothing but
/// its own recording. One thread at a time; several share references.
class Recogniser {
 public:
  /// @param references  outlive this object
  Recogniser(const References& references, const Thresholds& thresholds)
      : references_(references), thresholds_(thresholds) {}

  /// Recognises a recording. Throws std::bad_alloc and as the references do.
  Answer recognise(const audio::AudioData& recording);

  /// Recognises a fingerprint that was made before, likewise.
  Answer recognise(std::vector<audio::AudioFeature> features);

  const Thresholds& thresholds() const noexcept { return thresholds_; }

  /// The features of the last recording; empty when it has none.
  const std::vector<audio::AudioFeature>& features() const noexcept { return features_; }

  /// What the references have of them.
  const FoundHits& found() const noexcept { return found_; }

 private:
  const References& references_;
  Thresholds thresholds_;
  std::vector<audio::AudioFeature> features_;
  FoundHits found_;
};

}  // namespace audiomatch
