#include "tool/input/recording_parts.h"

#include <algorithm>
#include <cmath>

#include "base/analysis_grid.h"
#include "feature/audio_land_mark_finder.h"
#include "match/database/database_format.h"
#include "tool/input/recording.h"

namespace audiomatch {
namespace {

constexpr std::uint64_t kEngineRate = audio::kAnalysisRate;
constexpr std::uint64_t kHopSamples = audio::kHopSamples;

/// Frames behind a part's last anchor that decide on its landmarks, and one,
/// since the part's start is rounded to a sample.
std::uint64_t framesOfOverlap() noexcept { return audio::AudioLandMarkFinder2D::reachFrames() + 1; }

}  // namespace

std::uint64_t partStart(std::uint64_t part, std::uint32_t sampleRate) noexcept {
  const std::uint64_t engine_samples = part * audio::kTimeSlots * kHopSamples;
  return (engine_samples * sampleRate + kEngineRate / 2) / kEngineRate;
}

std::uint64_t partLength(std::uint32_t sampleRate) noexcept {
  // Frames overlap by half: one hop more than their number.
  const std::uint64_t hops = audio::kTimeSlots + framesOfOverlap() + 1;
  return (hops * kHopSamples * sampleRate + kEngineRate - 1) / kEngineRate;
}

audio::AudioDataPtr PartReader::next() {
  if (done_) return nullptr;
  fill();
  if (samples_.empty()) return nullptr;
  audio::AudioDataPtr part = toAudio(samples_, sound_.channels(), sound_.sampleRate());
  dropUpToNext();
  return part;
}

/// Reads until a whole part is held or the recording ends.
void PartReader::fill() {
  const std::uint64_t held = samples_.size() / sound_.channels();
  const std::uint64_t length = partLength(sound_.sampleRate());
  samples_.reserve(samples_.size() + sound_.roomFor(length - held));
  sound_.read(samples_, length - held);
}

/// Keeps what belongs to the next part, if there is one.
void PartReader::dropUpToNext() {
  const std::uint32_t rate = sound_.sampleRate();
  done_ = audio::frameCount(samples_.size() / sound_.channels(), rate) <= audio::kTimeSlots;
  ++part_;
  const std::uint64_t dropped =
      (partStart(part_, rate) - partStart(part_ - 1, rate)) * sound_.channels();
  const auto first_kept =
      done_ ? samples_.end() : samples_.begin() + static_cast<std::ptrdiff_t>(dropped);
  samples_ = std::vector<std::int16_t>(first_kept, samples_.end());
}

}  // namespace audiomatch
