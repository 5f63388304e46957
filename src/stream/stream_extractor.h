#pragma once

#include <cstdint>
#include <vector>

#include "base/audio_data.h"
#include "match/audio_attribute.h"

namespace audio {

/// Turns a live stream, packet by packet, into attributes. One stream, one
/// thread at a time.
class StreamExtractor {
 public:
  virtual ~StreamExtractor() = default;

  /// Starts a stream.
  ///
  /// @param streamId         identifier that every attribute carries
  /// @param updateRate       seconds from one analysis to the next
  /// @param monitorDuration  seconds for which attributes are remembered
  /// @param sampleRate       Hz
  /// @param channels         channels of every packet
  /// @param packetLen        samples per channel of every packet
  virtual bool init(std::uint32_t streamId, std::uint32_t updateRate, std::uint32_t monitorDuration,
                    std::uint32_t sampleRate, std::uint32_t channels, std::uint32_t packetLen) = 0;

  /// Takes the next packet, which is only read.
  virtual bool update(const AudioData* packet) = 0;

  /// Attributes made by the latest `update`; valid until the next.
  virtual const std::vector<AudioAttribute>& currentAttributes() const noexcept = 0;

  /// Attributes that left the monitor window in the latest `update`; valid
  /// until the next.
  virtual const std::vector<AudioAttribute>& expiredAttributes() const noexcept = 0;
};

}  // namespace audio
