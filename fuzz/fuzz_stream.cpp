// A stream's parameters and packets, against the plain reference: which
// parameters and packets are taken, and what the lists of attributes hold then.
//
// Input: the parameters, then operations until the input or the work allowed
// ends. Parameters: u8 (bit 7: five u32 follow: update, monitor, rate, channels,
// packet length; else bits 0-1 pick the update period, 2-3 the monitor window,
// 4-5 the rate, 6 the channels, and a u8 the packet length). Operation: u8 (low
// three bits 0-3 a packet of eight bursts, 4 one of plain zeros, 5 null, 6 one
// of another shape, by bits 3-5, 7 the next parameters).

#include <algorithm>

#include "fuzz/burst_sound.h"
#include "fuzz/fuzz_input.h"
#include "stream/stream_attribute_extractor.h"
#include "support/test_audio.h"

namespace {

struct Parameters {
  std::uint32_t update, monitor, rate, channels, packet_len;
};

constexpr std::uint64_t kMostBuffer = std::uint64_t{1} << 20;  // samples of all channels
constexpr std::uint64_t kMostWork = std::uint64_t{1} << 18;    // samples analysed or copied

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

/// The engine's stream and the plain one, which agree call by call.
class BothStreams {
 public:
  void init(const Parameters& wanted) {
    const bool taken = engine_.init(kStreamId, wanted.update, wanted.monitor, wanted.rate,
                                    wanted.channels, wanted.packet_len);
    FUZZ_REQUIRE(taken == plain_.init(kStreamId, wanted.update, wanted.monitor, wanted.rate,
                                      wanted.channels, wanted.packet_len));
    if (taken) parameters_ = wanted;
  }

  /// Those last taken.
  const Parameters& parameters() const { return parameters_; }

  /// Null is no packet. Returns the samples that an analysis worked on.
  std::uint64_t push(const audio::AudioDataPtr& packet, const plain::Audio* same) {
    const std::size_t analyses = plain_.analyses.size();
    FUZZ_REQUIRE(engine_.update(packet.get()) == plain_.update(same));
    using testing_support::asPlain;
    FUZZ_REQUIRE(asPlain<plain::Attribute>(engine_.currentAttributes()) == plain_.current);
    FUZZ_REQUIRE(asPlain<plain::Attribute>(engine_.expiredAttributes()) == plain_.expired);
    if (plain_.analyses.size() == analyses) return 0;
    // The whole buffer, and what it comes to at the engine's rate.
    return std::uint64_t{plain_.buffer_packets} * plain_.packet_len * plain_.channels + 40'000;
  }

 private:
  static constexpr std::uint32_t kStreamId = 0xfedcba98;

  plain::Log log_;
  audio::StreamAttributeExtractor engine_;
  plain::Stream plain_{log_};
  Parameters parameters_{1, 1, 8000, 1, 800};
};

/// Returns the samples that were worked on.
std::uint64_t pushBursts(BothStreams& streams, const Parameters& shape,
                         std::span<const std::uint8_t> bursts) {
  const auto samples =
      audiofuzz::burstSound(bursts, shape.channels, shape.packet_len, shape.packet_len / 8 + 1);
  plain::Log log;
  const plain::Audio same =
      plain::fromPcm(samples.data(), shape.channels, shape.packet_len, shape.rate, log);
  const audio::AudioDataPtr packet =
      audio::pcm16ToAudioData(samples.data(), {shape.channels, shape.packet_len, shape.rate});
  FUZZ_REQUIRE(packet);
  return samples.size() + streams.push(packet, &same);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  audiofuzz::beginRun(data, size);
  audiofuzz::FuzzInput input(data, size);
  BothStreams streams;
  streams.init(readParameters(input));
  std::uint64_t work = 0;
  while (!input.empty() && work < kMostWork) {
    const std::uint8_t operation = input.u8();
    work += 4096;
    if ((operation & 7) == 5) {
      streams.push(nullptr, nullptr);
    } else if ((operation & 7) == 7) {
      streams.init(readParameters(input));
    } else {
      Parameters shape = streams.parameters();
      if ((operation & 7) == 6) {
        shape.channels += operation >> 3 & 1U;
        shape.packet_len += operation >> 4 & 1U;
        shape.rate += operation >> 5 & 1U;
      }
      const auto bursts = (operation & 7) < 4 ? input.bytes(8) : std::span<const std::uint8_t>();
      work += pushBursts(streams, shape, bursts);
    }
  }
  return 0;
}
