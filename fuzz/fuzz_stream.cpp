// A stream's parameters and packets, against a model that only counts: which
// parameters are taken, which packet starts an analysis, and what the lists of
// attributes hold then.
//
// Input: the parameters, then operations until the input or the work allowed
// ends. Parameters: u8 (bit 7: five u32 follow: update, monitor, rate, channels,
// packet length; else bits 0-1 pick the update period, 2-3 the monitor window,
// 4-5 the rate, 6 the channels, and a u8 the packet length). Operation: u8 (low
// three bits 0-3 a packet of eight bursts, 4 one of plain zeros, 5 null, 6 one
// of another shape, by bits 3-5, 7 the next parameters).

#include "fuzz/burst_sound.h"
#include "fuzz/checked_stream.h"
#include "fuzz/fuzz_input.h"
#include "jni/pcm16.h"

namespace {

using audiofuzz::CheckedStream;
using Parameters = audiofuzz::StreamParameters;

constexpr std::uint64_t kMostBuffer = std::uint64_t{1} << 20;  // samples of all channels
constexpr std::uint64_t kMostWork = std::uint64_t{1} << 19;    // samples analysed or copied

Parameters readParameters(audiofuzz::FuzzInput& input) {
  const std::uint8_t bits = input.u8();
  if ((bits & 128) == 0) {
    constexpr std::uint32_t kUpdates[] = {1, 2, 3, 5}, kRates[] = {800, 4000, 8000, 11'025};
    const std::uint32_t update = kUpdates[bits & 3], rate = kRates[bits >> 4 & 3];
    return {update, update * (1 + (bits >> 2 & 3U)), rate, 1 + (bits >> 6 & 1U),
            rate * (1 + input.u8() % 20U) / 10};
  }
  Parameters wild{};
  for (std::uint32_t* field :
       {&wild.update, &wild.monitor, &wild.rate, &wild.channels, &wild.packet_len}) {
    *field = input.u32();
  }
  // What would take gigabytes is refused for having no channel.
  if ((std::uint64_t{wild.rate} * 5 + wild.packet_len) * wild.channels > kMostBuffer ||
      wild.channels > kMostBuffer) {
    wild.channels = 0;
  }
  return wild;
}

audio::AudioDataPtr packetOf(const Parameters& shape, std::span<const std::uint8_t> bursts) {
  const auto samples =
      audiofuzz::burstSound(bursts, shape.channels, shape.packet_len, shape.packet_len / 8 + 1);
  return audio::pcm16ToAudioData(samples.data(), {shape.channels, shape.packet_len, shape.rate});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  audiofuzz::beginRun(data, size);
  audiofuzz::FuzzInput input(data, size);
  CheckedStream stream;
  stream.init(readParameters(input));
  std::uint64_t work = 0;
  while (!input.empty() && work < kMostWork) {
    const std::uint8_t operation = input.u8();
    Parameters shape = stream.parameters();
    work += 4096;
    if ((operation & 7) == 5) {
      stream.pushNull();
    } else if ((operation & 7) == 7) {
      stream.init(readParameters(input));
    } else {
      if (!stream.open()) shape = {1, 1, 8000, 1, 800};
      if ((operation & 7) == 6) {
        shape.channels += operation >> 3 & 1U;
        shape.packet_len += operation >> 4 & 1U;
        shape.rate += operation >> 5 & 1U;
      }
      const auto bursts = (operation & 7) < 4 ? input.bytes(8) : std::span<const std::uint8_t>();
      const audio::AudioDataPtr packet = packetOf(shape, bursts);
      FUZZ_REQUIRE(packet);
      const std::uint64_t samples = std::uint64_t{shape.packet_len} * shape.channels;
      work += samples;
      // An analysis works on the whole buffer at the engine's rate.
      if (stream.push(*packet)) work += 40'000 + samples * stream.parameters().bufferPackets();
    }
  }
  return 0;
}
