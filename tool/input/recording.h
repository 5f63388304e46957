#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "base/audio_data.h"
#include "feature/extraction_outcome.h"
#include "tool/input/sound_source.h"

namespace audiomatch {

/// Turns interleaved samples into the engine's audio by the same door as
/// samples from Java. At least one frame; throws std::bad_alloc.
audio::AudioDataPtr toAudio(std::span<const std::int16_t> samples, std::uint32_t channels,
                            std::uint32_t sampleRate);

/// True when a recording was analysed, whether or not it has features.
bool isAnalysable(audio::ExtractionOutcome outcome) noexcept;

/// Why a recording has no features, for people. Throws std::bad_alloc for any
/// outcome that isn't the recording's fault.
std::string describe(audio::ExtractionOutcome outcome);

/// A stretch of a recording, in seconds.
struct Stretch {
  double from;
  double seconds;
};

/// A recording in memory.
struct Recording {
  audio::AudioDataPtr audio;
  std::optional<Damage> damage;  ///< to be told to the user
};

/// Reads a whole recording. Throws FileError as openSound and SoundSource::read do, and for one
/// that is empty or too long to be held at once.
Recording readRecording(const std::filesystem::path& path, const SoundOptions& options = {});

/// Reads what a recording has of a stretch, likewise.
Recording readStretch(const std::filesystem::path& path, const Stretch& stretch,
                      const SoundOptions& options = {});

}  // namespace audiomatch
