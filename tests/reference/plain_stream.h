/// Attributes of a live stream.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "plain_features.h"
#include "plain_log.h"
#include "plain_match.h"

namespace plain {

/// Takes a stream packet by packet. A buffer is about five seconds of packets; analysis k, counted
/// from 0, is of the buffer that begins k update periods after the first packet, and happens when
/// the packet arrives that comes right after that buffer.
struct Stream {
  explicit Stream(Log& messages) : log(messages) {}
  /// Starts a stream with that identifier. The update period and the monitor window are in
  /// seconds. False, after a message, for numbers that make no stream.
  bool init(std::uint32_t streamId, std::uint32_t updateRate, std::uint32_t monitorDuration,
            std::uint32_t sampleRate, std::uint32_t channelCount, std::uint32_t packetLen);
  /// Takes a copy of the next packet; false, after a message, for null, which leaves the lists of
  /// attributes, and for a packet of another shape, which empties them.
  bool update(const Audio* packet);

  /// The attributes of the analysis made by the latest update; empty if it made none.
  std::vector<Attribute> current;
  /// The attributes that left the monitor window in the latest update.
  std::vector<Attribute> expired;

  /// The index of the stream in its attributes' packed entries.
  std::uint32_t stream_id = 0;
  /// In Hz, of every packet.
  std::uint32_t sample_rate = 0;
  /// Of every packet.
  std::uint32_t channels = 0;
  /// Samples per channel of every packet.
  std::uint32_t packet_len = 0;
  /// Packets in a buffer.
  std::uint32_t buffer_packets = 0;
  /// Packets in an update period.
  std::uint32_t packets_per_update = 0;
  /// Frames in an update period, rounded down.
  std::uint32_t update_frames = 0;
  /// Analyses in the monitor window.
  std::uint32_t window_analyses = 0;
  /// Every packet since init.
  std::vector<Audio> packets;
  /// The attributes of every analysis since init.
  std::vector<std::vector<Attribute>> analyses;
  /// Single-pass, made by init. Its resampler carries over from analysis to analysis.
  std::optional<Extractor> extractor;
  Log& log;

 private:
  Audio bufferFrom(std::size_t first) const;
  std::vector<Attribute> attributesOf(const std::vector<Feature>& features) const;
};

}  // namespace plain
