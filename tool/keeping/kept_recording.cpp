#include "tool/keeping/kept_recording.h"

#include <numeric>

namespace audiomatch {

void countEntries(std::span<KeptRecording> recordings, std::span<const std::uint64_t> of_audio) {
  for (KeptRecording& recording : recordings) {
    const auto parts = of_audio.first(recording.parts);
    of_audio = of_audio.subspan(recording.parts);
    const std::uint64_t entries = std::accumulate(parts.begin(), parts.end(), std::uint64_t{0});
    if (recording.entries.value_or(entries) != entries) {
      recording = {recording.name, recording.parts, {}, {}, {}, {}};
    }
    recording.entries = entries;
  }
}

}  // namespace audiomatch
