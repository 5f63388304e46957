#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/audio_data.h"
#include "feature/audio_feature.h"
#include "feature/feature_extractor.h"
#include "stream/stream_extractor.h"
#include "stream/stream_grid.h"

namespace audio {

/// Analyses kBufferSeconds of a stream once per update period.
///
/// Packets are held until the buffer is full. The packet that finds it full
/// starts an analysis: the held packets are fingerprinted in a single pass,
/// the features of the first update period become the current attributes, the
/// oldest period's packets are dropped and the new one is kept behind the rest.
/// So from the second analysis on there is one every update period.
///
/// An attribute's `hashValue` holds, above 14 bits, the stream identifier, and
/// in them a time code: analysis × (frames per update + 1) + anchor frame.
/// Attributes of the last monitorDuration / updateRate analyses are
/// remembered; those of the analysis before them are handed out as expired.
///
/// Methods that aren't noexcept throw std::bad_alloc when memory for a list is
/// short; the object stays usable.
///
/// Memory stays flat: two copies of five seconds of audio, the work of one
/// analysis, and the remembered attributes.
class StreamAttributeExtractor : public StreamExtractor {
 public:
  StreamAttributeExtractor() = default;
  StreamAttributeExtractor(const StreamAttributeExtractor&) = delete;
  StreamAttributeExtractor& operator=(const StreamAttributeExtractor&) = delete;
  ~StreamAttributeExtractor() override;

  /// Refused, with a message and changing nothing: a zero duration, rate or
  /// packet length, an update period of no packet or of more than the buffer
  /// holds, lengths beyond 32 bits, and a monitor duration that isn't a multiple
  /// of the update period. Fails also, with messages, when the feature extractor
  /// can't be made, or without one when the buffer can't; the object is then to
  /// be destroyed or initialised again.
  bool init(std::uint32_t streamId, std::uint32_t updateRate, std::uint32_t monitorDuration,
            std::uint32_t sampleRate, std::uint32_t channels, std::uint32_t packetLen) override;

  /// Fails, with a message, for a null packet (the lists keep their contents),
  /// for one whose shape or rate differ from `init`'s, and when there is no
  /// memory for the packet's copy or the buffer's mix. These leave both lists
  /// empty and the held packets as they were, as does an exception, so the call
  /// can be repeated; at rates other than 8000 Hz the resampler then remembers
  /// the attempt (see Resampler). An extraction that fails otherwise is an
  /// analysis without attributes: of silence, say.
  bool update(const AudioData* packet) override;

  /// The number, from 0 on, of the analysis that the latest `update` made;
  /// nothing when it made none.
  std::optional<std::uint32_t> lastAnalysis() const noexcept { return last_analysis_; }

  const std::vector<AudioAttribute>& currentAttributes() const noexcept override {
    return current_attributes_;
  }
  const std::vector<AudioAttribute>& expiredAttributes() const noexcept override {
    return expired_attributes_;
  }

 private:
  void reset() noexcept;
  bool initFeatureExtractor();
  bool matchesStream(const AudioData& packet) const noexcept;
  bool analyse();
  void concatenate() noexcept;
  std::vector<AudioFeature> featuresOfFirstPeriod() const;
  void makeAttributes(const AudioFeature* features, std::uint32_t streamId, std::size_t count,
                      AudioAttribute* out) const noexcept;
  void rememberAttributes();
  void dropOldestPeriod() noexcept;

  std::uint32_t stream_id_ = 0;
  std::uint32_t sample_rate_ = 0;
  std::uint32_t input_audio_packet_len_ = 0;
  std::uint32_t monitor_duration_ = 0;
  std::uint32_t buffer_packets_ = 0;
  std::uint32_t packets_per_update_ = 0;
  std::uint32_t update_count_ = 0;
  std::uint32_t slot_count_ = 0;
  std::uint32_t update_frames_ = 0;
  std::vector<AudioDataPtr> packets_;  // those held, oldest first
  AudioDataPtr buffer_;
  std::vector<AudioAttribute> current_attributes_;
  std::vector<std::vector<AudioAttribute>> attribute_slots_;  // a ring that grows to slot_count_
  std::vector<AudioAttribute> expired_attributes_;
  std::unique_ptr<FeatureExtractor> feature_extractor_;
  std::optional<std::uint32_t> last_analysis_;
};

}  // namespace audio
