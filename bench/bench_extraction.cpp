// Extraction against nothing but the library calls that it can't
// do without.

#include <benchmark/benchmark.h>
#include <kiss_fft.h>
#include <libresample.h>

#include <cstdlib>
#include <vector>

#include "benchmarks.h"
#include "feature/feature_extractor.h"
#include "paired_run.h"
#include "synthetic_audio.h"

namespace {

constexpr std::uint32_t kSeconds = 60;
constexpr std::uint32_t kRate = 8000;
constexpr std::uint32_t kFrame = 512;
constexpr std::uint32_t kHop = 256;
constexpr double kPassStarts[] = {0.0, 0.008, 0.016, 0.024};

/// As many transforms as the four passes over `samples` at 8000 Hz make.
void bareTransforms(const std::vector<std::uint32_t>& samplesPerPass) {
  const kiss_fft_cfg fft = kiss_fft_alloc(kFrame, 0, nullptr, nullptr);
  std::vector<kiss_fft_cpx> in(kFrame, {0.5f, 0.0f});
  std::vector<kiss_fft_cpx> out(kFrame);
  for (const std::uint32_t samples : samplesPerPass) {
    for (std::uint32_t t = 0; t < (samples - kHop) / kHop; ++t)
      kiss_fft(fft, in.data(), out.data());
  }
  benchmark::DoNotOptimize(out.data());
  std::free(fft);
}

void extract(audio::FeatureExtractor& extractor, const audio::AudioData& audio) {
  if (!extractor.loadAudio(&audio) || !extractor.extractFeatures()) std::abort();
  benchmark::DoNotOptimize(extractor.getFeatures().data());
}

void extraction8kMono(benchmark::State& state) {
  const auto audio = bench::syntheticMusic(1, kSeconds, 1, kRate);
  audio::FeatureExtractor extractor;
  extractor.init(false);
  std::vector<std::uint32_t> samples;
  for (const double start : kPassStarts) {
    samples.push_back(kSeconds * kRate - static_cast<std::uint32_t>(start * kRate + 0.5));
  }
  bench::pairedRun(
      state, 1.4, [&] { extract(extractor, *audio); }, [&] { bareTransforms(samples); });
}

/// What a stream has to do for each of its analyses.
void extraction5Seconds(benchmark::State& state) {
  constexpr std::uint32_t kBuffer = 5;
  const auto audio = bench::syntheticMusic(3, kBuffer, 1, kRate);
  audio::FeatureExtractor extractor;
  extractor.init(true);
  bench::pairedRun(
      state, 1.6, [&] { extract(extractor, *audio); }, [] { bareTransforms({kBuffer * kRate}); });
}

/// In short pieces, so that a machine whose speed drifts has little time for it within a pair.
void extraction44kStereo(benchmark::State& state) {
  constexpr std::uint32_t kSource = 44100;
  const auto audio = bench::syntheticMusic(2, kSeconds / 4, 2, kSource);
  audio::FeatureExtractor extractor;
  extractor.init(false);
  void* resampler = resample_open(1, 0.1, 10.0);
  std::vector<float> mono(audio->channelData(0), audio->channelData(0) + audio->dataLen());
  const auto baseline = [&] {
    std::vector<std::uint32_t> samples;
    for (const double start : kPassStarts) {
      const auto first = static_cast<std::uint32_t>(start * kSource + 0.5);
      const auto length = static_cast<std::uint32_t>(mono.size()) - first;
      std::vector<float> out(static_cast<std::size_t>(length * (1.0 * kRate / kSource) + 0.5));
      int used = 0;
      resample_process(resampler, 1.0 * kRate / kSource, mono.data() + first,
                       static_cast<int>(length), 1, &used, out.data(),
                       static_cast<int>(out.size()));
      samples.push_back(static_cast<std::uint32_t>(out.size()));
    }
    bareTransforms(samples);
  };
  bench::pairedRun(
      state, 1.03, [&] { extract(extractor, *audio); }, baseline);
  resample_close(resampler);
}

}  // namespace

void bench::addExtraction() {
  addPaired("extraction8kMono", extraction8kMono, 30);
  addPaired("extraction5Seconds", extraction5Seconds, 300);
  addPaired("extraction44kStereo", extraction44kStereo, 60);
}
