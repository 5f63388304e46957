#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/audio_data.h"
#include "feature/land_mark.h"
#include "feature/local_max_detection.h"
#include "tool/input/recording.h"
#include "tool/input/sound_source.h"
#include "tool/picture/spectrogram_columns.h"

namespace audiomatch {

/// What the engine sees of a stretch of a recording in one pass.
struct SpectrogramAnalysis {
  double from;                 ///< second of the recording at which frame 0 starts
  SpectrogramColumns columns;  ///< frames of 32 ms, bins of 15.625 Hz
  std::uint64_t peak_count = 0;
  std::uint64_t landmark_count = 0;

  /// All of them, in frames from `from` on, as long as they can be told apart
  /// in a picture; else empty.
  std::vector<audio::LocalMaxRecorder> peaks;
  std::vector<audio::LandMark> landmarks;

  std::optional<Damage> damage;  ///< of the recording, as far as it was read

  double seconds() const noexcept;
};

/// The longest stretch whose peaks and landmarks are kept one by one.
inline constexpr std::uint64_t kMostFramesOneByOne = 1875;  // a minute

/// Analyses a stretch on its own, a long one part by part, in memory that
/// doesn't grow with it. The stretch may reach beyond the end. Throws
/// FileError, also when there is nothing but silence, and Interrupted.
SpectrogramAnalysis analyseStretch(const std::filesystem::path& path, const Stretch& stretch,
                                   const SoundOptions& options = {});

/// Analyses a recording that is held in memory, likewise, as one part.
///
/// @param name         what messages call it
/// @param mostColumns  even
SpectrogramAnalysis analyseSound(const audio::AudioData& sound, const std::string& name,
                                 std::size_t mostColumns);

}  // namespace audiomatch
