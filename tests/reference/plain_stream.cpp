#include "plain_stream.h"

#include <algorithm>

namespace plain {

// The packets that make up so many seconds, half a packet rounded up.
static std::uint64_t packetsIn(std::uint32_t seconds, std::uint32_t sample_rate,
                               std::uint32_t packet_len) {
  const std::uint64_t samples = std::uint64_t(sample_rate) * seconds;
  return std::uint64_t(double(samples) / double(packet_len) + 0.5);
}

// An update period is 1 packet to a buffer long, a monitor window is whole update periods, and a
// buffer's length and a period's frames are 32-bit numbers. A channel count of 0 is found out last,
// when the stream of before is gone already.
bool Stream::init(std::uint32_t streamId, std::uint32_t updateRate, std::uint32_t monitorDuration,
                  std::uint32_t sampleRate, std::uint32_t channelCount, std::uint32_t packetLen) {
  const auto refuse = [&] {
    say(log,
        "input bad parameters, update_rate = %d, sample rate = %d, monitor_win_len = %d, "
        "input_audio_packet_len = %d.",
        int(updateRate), int(sampleRate), int(monitorDuration), int(packetLen));
    return false;
  };
  if (updateRate == 0 || sampleRate == 0) return refuse();
  if (monitorDuration == 0 || packetLen == 0) return refuse();
  if (monitorDuration % updateRate != 0)
    return fail(log, "monitor_duration % update_rate must be zero.");
  const std::uint64_t per_update = packetsIn(updateRate, sampleRate, packetLen);
  const std::uint64_t in_buffer = std::max<std::uint64_t>(packetsIn(5, sampleRate, packetLen), 1);
  const std::uint64_t frames = std::uint64_t(updateRate) * 1000 / 32;
  if (per_update < 1 || per_update > in_buffer) return refuse();
  if (in_buffer * packetLen > UINT32_MAX) return refuse();
  if (frames > UINT32_MAX) return refuse();

  stream_id = streamId;
  sample_rate = sampleRate;
  channels = channelCount;
  packet_len = packetLen;
  buffer_packets = std::uint32_t(in_buffer);
  packets_per_update = std::uint32_t(per_update);
  update_frames = std::uint32_t(frames);
  window_analyses = monitorDuration / updateRate;
  packets.clear();
  analyses.clear();
  extractor.emplace(true, log);
  Audio buffer;
  return shapeAudio(buffer, channels, sample_rate, packet_len * buffer_packets, log);
}

// The buffer that begins with packet number `first`, as one recording.
Audio Stream::bufferFrom(std::size_t first) const {
  Audio buffer;
  buffer.rate = sample_rate;
  buffer.rows.resize(channels);
  for (std::size_t channel = 0; channel < channels; ++channel) {
    std::vector<float>& row = buffer.rows[channel];
    for (std::size_t i = first; i < first + buffer_packets; ++i) {
      const std::vector<float>& samples = packets[i].rows[channel];
      row.insert(row.end(), samples.begin(), samples.end());
    }
  }
  return buffer;
}

// The features of the first update period of a buffer, its end included, as the attributes of the
// next analysis. Each analysis has one time code per frame of that period, and goes on where the
// analysis before it ended; the codes start again after 2^14.
std::vector<Attribute> Stream::attributesOf(const std::vector<Feature>& features) const {
  std::vector<Attribute> attributes;
  const std::uint64_t first_code = std::uint64_t(analyses.size()) * (update_frames + 1);
  for (const Feature& feature : features) {
    if (feature.startTime > update_frames) continue;
    const std::uint64_t code = (first_code + feature.startTime) % 16384;
    attributes.push_back({std::uint64_t(stream_id) * 16384 + code, feature.hashKey});
  }
  return attributes;
}

// A packet that completes nothing is only kept. The attributes of an analysis expire with the
// analysis one monitor window later.
bool Stream::update(const Audio* packet) {
  if (!packet) return fail(log, "input a null packet.");
  current.clear();
  expired.clear();
  const bool fits =
      packet->channels() == channels && packet->len() == packet_len && packet->rate == sample_rate;
  if (!extractor || !fits) return fail(log, "input packet does not match the stream.");
  const std::size_t number = analyses.size();
  const std::size_t first = number * packets_per_update;
  if (packets.size() == first + buffer_packets) {
    const Audio buffer = bufferFrom(first);
    extractor->load(&buffer);
    extractor->extract();  // if it fails there are no features, and no attributes
    current = attributesOf(extractor->features);
    if (number >= window_analyses) expired = analyses[number - window_analyses];
    analyses.push_back(current);
  }
  packets.push_back(*packet);
  return true;
}

}  // namespace plain
