#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/audio_data.h"
#include "feature/audio_feature.h"
#include "feature/audio_land_mark_finder.h"
#include "feature/extraction_outcome.h"

namespace audio {

/// Turns a recording into its fingerprint.
///
/// Methods that aren't noexcept throw std::bad_alloc when memory for a list is
/// short; the object stays usable.
///
/// `init` once, then for every recording `loadAudio`, `extractFeatures`,
/// `getFeatures`. A failure leaves the object ready for the next `loadAudio`.
/// One thread at a time.
class FeatureExtractor {
 public:
  FeatureExtractor() = default;
  FeatureExtractor(const FeatureExtractor&) = delete;
  FeatureExtractor& operator=(const FeatureExtractor&) = delete;
  ~FeatureExtractor();

  /// A new extractor, or null, with a message, when memory is short.
  static std::unique_ptr<FeatureExtractor> create() noexcept;

  /// Replaces the landmark finder by a fresh one, whose resampler remembers no
  /// recording. Fails, with messages, for lack of memory.
  ///
  /// @param singlePass  true: one pass, features in landmark order, repeats
  ///                    kept; false: four passes, features sorted and unique
  bool init(bool singlePass);

  /// Makes a mono copy of the recording (the mean of its channels) for the
  /// finder and forgets the features of the one before. `audioData` is only
  /// read during the call.
  ///
  /// Null is refused with a message and changes nothing. Any other failure (an
  /// empty recording, no memory; with messages) leaves no recording to extract
  /// from. False without a message when there is no finder.
  bool loadAudio(const AudioData* audioData);

  /// Computes the features of the loaded recording. Fails, with messages,
  /// before `init` and for recordings without landmarks; `outcome` tells why.
  bool extractFeatures();

  /// Features of the last successful extraction, empty after a load; valid
  /// until the next load or extraction.
  const std::vector<AudioFeature>& getFeatures() const noexcept { return features; }

  /// What the features were found with, for those who look at peaks and levels,
  /// too; null before `init`.
  const AudioLandMarkFinderBase* finder() const noexcept { return land_mark_finder.get(); }

  /// What came of the last recording that was given, null not counting, and of
  /// its extraction.
  ExtractionOutcome outcome() const noexcept { return outcome_; }

 private:
  bool prepareAudioData();
  void chooseFeatures();

  const AudioData* audio = nullptr;
  AudioDataPtr audio_data;
  std::uint32_t sample_rate = 0;
  std::uint32_t data_len = 0;
  std::unique_ptr<AudioLandMarkFinderBase> land_mark_finder;
  std::vector<AudioFeature> features;
  ExtractionOutcome outcome_ = ExtractionOutcome::kNotReady;
};

}  // namespace audio
