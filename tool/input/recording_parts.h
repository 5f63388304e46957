#pragma once

#include <cstdint>
#include <vector>

#include "base/audio_data.h"
#include "tool/input/sound_source.h"

namespace audiomatch {

/// The sample at which part number `part` of a long recording starts: the one
/// nearest to part × 16,384 frames of 32 ms.
std::uint64_t partStart(std::uint64_t part, std::uint32_t sampleRate) noexcept;

/// Samples of a whole part: its 16,384 frames and those behind them in which
/// its last landmarks have their targets.
std::uint64_t partLength(std::uint32_t sampleRate) noexcept;

/// Reads a recording as consecutive parts, each short enough for the 14 bits
/// in which a database counts time.
///
/// A part overlaps the next, so that a landmark with its anchor in one and its
/// target in the other isn't lost; the frames of the overlap count as anchors
/// only in the next. One part is held at a time, however long the recording.
class PartReader {
 public:
  /// @param sound  at its first sample; outlives this object
  explicit PartReader(SoundSource& sound) : sound_(sound) {}

  /// The next part, or null after the last. Throws as SoundSource::read does.
  audio::AudioDataPtr next();

 private:
  void fill();
  void dropUpToNext();

  SoundSource& sound_;
  std::vector<std::int16_t> samples_;  // from the start of the next part on
  std::uint64_t part_ = 0;
  bool done_ = false;
};

}  // namespace audiomatch
