#include "tool/picture/match_hits.h"

#include <algorithm>

#include "base/analysis_grid.h"

namespace audiomatch {

std::vector<CandidateHits> leadingHits(std::span<const audio::AudioFeature> features,
                                       const Verdict& verdict, const FoundHits& hits, double from,
                                       std::size_t most) {
  const std::span leading(verdict.candidates.data(), std::min(most, verdict.candidates.size()));
  std::vector<CandidateHits> found;
  for (const Candidate& candidate : leading) {
    found.push_back({candidate.name, {}, candidate.position() - from, candidate.agreeing});
  }
  const ReferenceNames& names = *hits.names;
  for (std::size_t i = 0; i < features.size(); ++i) {
    const double frame = features[i].startTime;
    for (const audio::AudioHashHit& hit : hits.of(i)) {
      const std::int32_t recording = names.recording(hit.audio_index);
      for (std::size_t place = 0; place < leading.size(); ++place) {
        if (recording != names.recording(leading[place].audio_index)) continue;
        const double offset = hit.time_offset + names.startFrame(hit.audio_index);
        found[place].hits.push_back({from + audio::secondsOfFrames(frame),
                                     audio::secondsOfFrames(frame + offset), features[i].hashKey});
      }
    }
  }
  return found;
}

}  // namespace audiomatch
