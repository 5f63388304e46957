#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <vector>

#include "feature/audio_feature.h"
#include "tool/input/sound_source.h"

namespace audiomatch {

/// The room that an audio's entries usually have: see chooseEntries. With more,
/// long recordings crowd others out of the few that a match examines; with less,
/// strangers lead by chance. docs/recognition.md has what others come to.
inline constexpr std::size_t kUsualRoom = 12'000;

/// The fingerprint of one file, as a database takes it.
struct Reference {
  double seconds = 0.0;
  std::optional<Damage> damage;
  std::size_t features = 0;  ///< of all parts, before any were left out
  /// Database entries of each part; a recording of up to 16,384 frames, which
  /// is nearly nine minutes, is one.
  std::vector<std::vector<audio::AudioFeature>> parts;

  /// Entries of all parts.
  std::size_t entryCount() const noexcept;
};

/// Analyses a file part by part, with a fresh extractor for each.
///
/// Throws FileError as reading sound does and when there is no feature at all;
/// std::bad_alloc; Interrupted.
///
/// @param room  of each part's entries
Reference analyseReference(const std::filesystem::path& path, std::size_t room,
                           const SoundOptions& options = {});

/// The same for a sound that is open, at its first sample.
///
/// @param path          what messages call it
/// @param most_seconds  beyond which it is refused, by a std::length_error
Reference analyseReference(SoundSource& sound, const std::filesystem::path& path, std::size_t room,
                           double most_seconds);

}  // namespace audiomatch
