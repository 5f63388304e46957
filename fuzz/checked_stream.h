#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "match/database/packed_entry.h"
#include "stream/stream_attribute_extractor.h"

namespace audiofuzz {

/// What a stream is started with.
struct StreamParameters {
  std::uint32_t update, monitor, rate, channels, packet_len;

  /// Packets in a duration, halves rounded up.
  std::uint64_t packetsIn(std::uint64_t seconds) const {
    return (2 * seconds * rate + packet_len) / (2 * std::uint64_t{packet_len});
  }
  std::uint64_t bufferPackets() const { return std::max<std::uint64_t>(packetsIn(5), 1); }
  /// True when a stream can be started; zero channels are another matter.
  bool sound() const {
    if (update == 0 || monitor == 0 || rate == 0 || packet_len == 0) return false;
    return monitor % update == 0 && packetsIn(update) >= 1 &&
           packetsIn(update) <= bufferPackets() && bufferPackets() * packet_len <= UINT32_MAX;
  }
};

/// A stream beside a model of it that only counts; every call checks the one
/// by the other.
class CheckedStream {
 public:
  /// Starts the stream anew, or is refused.
  void init(const StreamParameters& wanted) {
    const bool taken = extractor_.init(kStreamId, wanted.update, wanted.monitor, wanted.rate,
                                       wanted.channels, wanted.packet_len);
    FUZZ_REQUIRE(taken == (wanted.sound() && wanted.channels > 0));
    if (!wanted.sound()) return;  // nothing has changed
    parameters_ = wanted;
    open_ = taken;
    held_ = 0;
    history_.clear();
  }

  const StreamParameters& parameters() const { return parameters_; }
  bool open() const { return open_; }

  void pushNull() {
    const Attributes current = extractor_.currentAttributes();
    FUZZ_REQUIRE(!extractor_.update(nullptr));
    FUZZ_REQUIRE(extractor_.currentAttributes() == current);
  }

  /// Returns whether the packet started an analysis.
  bool push(const audio::AudioData& packet) {
    const bool fits = open_ && packet.channels() == parameters_.channels &&
                      packet.dataLen() == parameters_.packet_len &&
                      packet.sampleRate() == parameters_.rate;
    FUZZ_REQUIRE(extractor_.update(&packet) == fits);
    const bool analysed = fits && held_ == parameters_.bufferPackets();
    if (analysed) {
      checkAnalysis();
      held_ -= parameters_.packetsIn(parameters_.update);
    } else {
      FUZZ_REQUIRE(extractor_.currentAttributes().empty());
      FUZZ_REQUIRE(extractor_.expiredAttributes().empty());
    }
    if (fits) ++held_;
    return analysed;
  }

 private:
  static constexpr std::uint32_t kStreamId = 0xfedcba98;
  using Attributes = std::vector<audio::AudioAttribute>;

  void checkAnalysis() {
    const std::uint32_t frames = parameters_.update * 1000 / 32;
    const std::size_t first_code = history_.size() * (frames + 1);
    for (const audio::AudioAttribute& made : extractor_.currentAttributes()) {
      FUZZ_REQUIRE(made.hashKey < 1U << 20);
      FUZZ_REQUIRE(audio::entryAudioIndex(made.hashValue) == kStreamId);
      FUZZ_REQUIRE((audio::entryTime(made.hashValue) - first_code) % 16'384 <= frames);
    }
    const std::size_t slots = parameters_.monitor / parameters_.update;
    const Attributes& expired = extractor_.expiredAttributes();
    FUZZ_REQUIRE(history_.size() < slots ? expired.empty()
                                         : expired == history_[history_.size() - slots]);
    history_.push_back(extractor_.currentAttributes());
  }

  audio::StreamAttributeExtractor extractor_;
  StreamParameters parameters_{};
  bool open_ = false;
  std::uint64_t held_ = 0;
  std::vector<Attributes> history_;
};

}  // namespace audiofuzz
