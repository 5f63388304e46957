// PCM of any shape, from 16-bit samples to features: what the Java arrays and
// the tool's files go through. Two recordings in a row on one extractor, in
// one pass and in four.
//
// Input: u8 shape (bits 0-1 the rate: 8000, 16000, 44100 Hz or from the input;
// bit 2 plain samples instead of bursts; bit 3 samples at an odd address; bits
// 4-6 channels - 1; bit 7 counts from the input), [u32 rate], [u8 channels, u16
// frames], u8 share of the first recording, then both recordings' bytes.

#include <vector>

#include "feature/feature_extractor.h"
#include "fuzz/burst_sound.h"
#include "fuzz/fuzz_input.h"
#include "jni/pcm16.h"

namespace {

using Features = std::vector<audio::AudioFeature>;

constexpr std::size_t kMostSamples = std::size_t{1} << 16;
constexpr std::size_t kMostResampled = std::size_t{1} << 18;

struct Shape {
  bool bursts, odd_address, wild;
  std::uint32_t rate, channels, frames;
};

Shape readShape(audiofuzz::FuzzInput& input) {
  constexpr std::uint32_t kRates[] = {8000, 16'000, 44'100};
  const std::uint8_t bits = input.u8();
  Shape shape{(bits & 4) == 0, (bits & 8) != 0, (bits & 128) != 0, 0, (bits >> 4 & 7U) + 1, 0};
  shape.rate = (bits & 3) == 3 ? input.u32() : kRates[bits & 3];
  if (shape.wild) {
    shape.channels = input.u8();
    shape.frames = input.u16();
  }
  return shape;
}

/// Null when a count is zero, as the input may want it.
audio::AudioDataPtr recordingOf(Shape shape, std::span<const std::uint8_t> bytes) {
  const std::size_t burst = std::min<std::size_t>(shape.rate / 31, 4096) + 1;
  const std::size_t row = std::max<std::size_t>(shape.channels, 1);
  std::size_t most = shape.bursts ? bytes.size() * burst : bytes.size() / 2 / row;
  // A low rate is resampled to many times the samples.
  most = std::min({most, kMostSamples / row, kMostResampled * shape.rate / 8000});
  const std::size_t frames = shape.wild ? std::min<std::size_t>(shape.frames, most) : most;

  // A block of the samples' own length, for the sanitizer to guard its end.
  const std::size_t skipped = shape.odd_address ? 1 : 0;
  std::vector<std::uint8_t> samples(skipped + 2 * frames * shape.channels);
  const std::vector<std::int16_t> sound =
      shape.bursts ? audiofuzz::burstSound(bytes, shape.channels, frames, burst)
                   : std::vector<std::int16_t>();
  const void* source = shape.bursts ? static_cast<const void*>(sound.data()) : bytes.data();
  if (samples.size() > skipped) std::memcpy(&samples[skipped], source, samples.size() - skipped);
  audio::AudioDataPtr recording = audio::pcm16ToAudioData(
      samples.data() + skipped, {shape.channels, static_cast<std::uint32_t>(frames), shape.rate});
  FUZZ_REQUIRE((recording != nullptr) == (frames > 0 && shape.channels > 0 && shape.rate > 0));
  return recording;
}

bool sorted(const audio::AudioFeature& a, const audio::AudioFeature& b) {
  return a.hashKey != b.hashKey ? a.hashKey < b.hashKey : a.startTime < b.startTime;
}

Features extract(audio::FeatureExtractor& extractor, const audio::AudioData& recording) {
  FUZZ_REQUIRE(extractor.loadAudio(&recording));
  const bool found = extractor.extractFeatures();
  const Features features = extractor.getFeatures();
  FUZZ_REQUIRE(found == !features.empty());
  const double resampled = 8000.0 / recording.sampleRate() * recording.dataLen() + 0.5;
  for (const audio::AudioFeature& feature : features) {
    FUZZ_REQUIRE(feature.hashKey < 1U << 20);
    // Frames of 512 samples, 256 apart.
    FUZZ_REQUIRE(feature.startTime * 256.0 + 512.0 <= resampled);
  }
  return features;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  audiofuzz::beginRun(data, size);
  audiofuzz::FuzzInput input(data, size);
  const Shape shape = readShape(input);
  const std::size_t share = input.u8();
  const auto bytes = input.rest();
  const std::size_t first = bytes.size() * share / 256;

  audio::FeatureExtractor single, multi;
  FUZZ_REQUIRE(single.init(true) && multi.init(false));
  bool fresh = true;
  for (const auto part : {bytes.first(first), bytes.subspan(first)}) {
    const audio::AudioDataPtr recording = recordingOf(shape, part);
    if (!recording) continue;
    Features of_single = extract(single, *recording);
    const Features of_multi = extract(multi, *recording);
    const auto unsorted = [](const auto& a, const auto& b) { return !sorted(a, b); };
    FUZZ_REQUIRE(std::ranges::adjacent_find(of_multi, unsorted) == of_multi.end());
    // The first of four passes is the single one, unless a resampler remembers.
    if ((fresh || shape.rate == 8000) && !of_multi.empty()) {
      std::ranges::sort(of_single, sorted);
      const auto end = std::unique(of_single.begin(), of_single.end());
      FUZZ_REQUIRE(std::includes(of_multi.begin(), of_multi.end(), of_single.begin(), end, sorted));
    }
    fresh = false;
  }
  return 0;
}
