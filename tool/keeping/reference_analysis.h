#pragma once

#include <cstddef>
#include <filesystem>
#include <future>
#include <optional>
#include <vector>

#include "base/audio_data.h"
#include "feature/audio_feature.h"
#include "feature/feature_extractor.h"
#include "tool/input/sound_source.h"
#include "tool/keeping/rated_features.h"

namespace audiomatch {

/// The room that an audio's entries usually have: see chooseEntries. With more,
/// long recordings crowd others out of the few that a match examines; with less,
/// strangers lead by chance. docs/recognition.md has what others come to.
inline constexpr std::size_t kUsualRoom = 11'000;

/// The room that serves a collection of nothing but recordings of many parts, which are
/// rivals of each other: with the usual one a part has few entries a second.
inline constexpr std::size_t kRoomOfLong = 24'000;

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

/// Analyses references, one after another, and keeps the engine's memory and
/// tables from one to the next. One thread at a time; what it gives depends on
/// nothing before.
class ReferenceAnalyser {
 public:
  /// Analyses a file part by part. Throws FileError as reading sound does and when
  /// there is no feature at all; std::bad_alloc; Interrupted.
  ///
  /// @param room     of each part's entries
  /// @param reading  asynchronous: a part is read and resampled while the one before it is
  ///                 analysed, by a thread of its own and with both in memory
  Reference analyse(const std::filesystem::path& path, std::size_t room,
                    const SoundOptions& options = {}, std::launch reading = std::launch::deferred);

  /// The same for a sound that is open, at its first sample.
  ///
  /// @param path          what messages call it
  /// @param most_seconds  beyond which it is refused, by a std::length_error
  Reference analyse(SoundSource& sound, const std::filesystem::path& path, std::size_t room,
                    double most_seconds, std::launch reading = std::launch::deferred);

 private:
  std::vector<RatedFeature> featuresOfPart(audio::AudioDataPtr part,
                                           const std::filesystem::path& path,
                                           audio::ExtractionOutcome& outcome);

  audio::FeatureExtractor extractor_;
  bool is_ready_ = false;
};

}  // namespace audiomatch
