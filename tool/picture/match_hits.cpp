#include "tool/picture/match_hits.h"

#include <algorithm>

#include "base/analysis_grid.h"
#include "match/database/packed_entry.h"

namespace audiomatch {

std::vector<CandidateHits> leadingHits(std::span<const audio::AudioFeature> features,
                                       const Verdict& verdict, const ReferenceDatabase& database,
                                       double from, std::size_t most) {
  const std::span leading(verdict.candidates.data(), std::min(most, verdict.candidates.size()));
  std::vector<CandidateHits> found;
  for (const Candidate& candidate : leading) {
    found.push_back({candidate.name, {}, candidate.position() - from, candidate.agreeing});
  }
  for (const audio::AudioFeature& feature : features) {
    const audio::Bucket bucket = database.audios().bucket(feature.hashKey);
    for (std::size_t i = 0; i < bucket.stored; ++i) {
      const auto audio = static_cast<std::int32_t>(audio::entryAudioIndex(bucket[i]));
      const std::int32_t recording = database.recording(audio);
      for (std::size_t place = 0; place < leading.size(); ++place) {
        if (recording != database.recording(leading[place].audio_index)) continue;
        const double frame =
            database.startFrame(audio) + static_cast<double>(audio::entryTime(bucket[i]));
        found[place].hits.push_back(
            {from + audio::secondsOfFrames(feature.startTime), audio::secondsOfFrames(frame)});
      }
    }
  }
  return found;
}

}  // namespace audiomatch
