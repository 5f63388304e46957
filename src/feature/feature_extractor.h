#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/audio_data.h"
#include "feature/audio_feature.h"
#include "feature/audio_land_mark_finder_base.h"

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

  /// Replaces the landmark finder by a fresh one. Failures: "alloc land mark
  /// finder failed." or the finder's own.
  ///
  /// @param singlePass  true: one pass, features in landmark order, repeats
  ///                    kept; false: four passes, features sorted and unique
  bool init(bool singlePass);

  /// Makes a mono copy of the recording (the mean of its channels) for the
  /// finder and forgets the features of the one before. `audioData` is only
  /// read during the call.
  ///
  /// Null changes nothing ("input a null audio."). Any other failure ("audio
  /// data len = 0." or "create audio data failed.", then "prepare audio data
  /// failed.") leaves no recording to extract from. False without a message
  /// when there is no finder.
  bool loadAudio(const AudioData* audioData);

  /// Computes the features of the loaded recording. Failures: "init not
  /// finished.", the finder's messages, "landmarks is null.".
  bool extractFeatures();

  /// Features of the last successful extraction, empty after a load; valid
  /// until the next load or extraction.
  const std::vector<AudioFeature>& getFeatures() const noexcept { return features; }

 private:
  bool prepareAudioData();
  void chooseFeatures();

  const AudioData* audio = nullptr;
  AudioDataPtr audio_data;
  std::uint32_t sample_rate = 0;
  std::uint32_t data_len = 0;
  std::unique_ptr<AudioLandMarkFinderBase> land_mark_finder;
  std::vector<AudioFeature> features;
};

}  // namespace audio
