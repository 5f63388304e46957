#include "tool/input/mono_resampler.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <span>

#include "base/analysis_grid.h"

namespace audiomatch {
namespace {

constexpr std::size_t kBlockFrames = 8192;

std::int16_t rounded(float sample) noexcept {
  return static_cast<std::int16_t>(std::lrintf(std::clamp(sample, -32768.0f, 32767.0f)));
}

/// The mean of each frame. Known at compile time, `kChannels` lets it go on
/// several frames at once.
template <std::size_t kChannels>
void mixFrames(const std::int16_t* samples, std::size_t channels, std::span<float> means) noexcept {
  const std::size_t step = kChannels > 0 ? kChannels : channels;
  const float share = 1.0f / static_cast<float>(step);
  for (std::size_t frame = 0; frame < means.size(); ++frame) {
    int sum = 0;
    for (std::size_t channel = 0; channel < step; ++channel) sum += samples[frame * step + channel];
    means[frame] = static_cast<float>(sum) * share;
  }
}

soxr* openSoxr(double from, double to) {
  const soxr_io_spec_t floats = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  const soxr_runtime_spec_t one_thread = soxr_runtime_spec(1);
  soxr_error_t error = nullptr;
  soxr* const handle = soxr_create(from, to, 1, &error, &floats, &quality, &one_thread);
  if (!handle || error) {
    soxr_delete(handle);
    throw std::bad_alloc();
  }
  return handle;
}

}  // namespace

void MonoResampler::Delete::operator()(soxr* handle) const noexcept { soxr_delete(handle); }

MonoResampler::MonoResampler(std::unique_ptr<SoundSource> source)
    : source_(std::move(source)), handle_(openSoxr(source_->sampleRate(), audio::kAnalysisRate)) {}

std::uint32_t MonoResampler::sampleRate() const noexcept { return audio::kAnalysisRate; }

std::uint64_t MonoResampler::resampled(std::uint64_t frames) const noexcept {
  const std::uint64_t rate = source_->sampleRate();
  // By seconds and the rest, as a header promises anything.
  const std::uint64_t rest = frames % rate * audio::kAnalysisRate;
  const std::uint64_t length =
      frames / rate * audio::kAnalysisRate + (2 * rest + rate) / (2 * rate);
  return frames > 0 ? std::max<std::uint64_t>(length, 1) : 0;
}

std::size_t MonoResampler::read(std::vector<std::int16_t>& samples, std::size_t frames) {
  std::size_t done = 0;
  while (done < frames) {
    if (taken_ == ready_.size()) {
      if (ended_) break;
      refill(frames - done);
      continue;
    }
    const std::size_t count = std::min(frames - done, ready_.size() - taken_);
    const std::size_t before = samples.size();
    samples.resize(before + count);
    std::transform(ready_.data() + taken_, ready_.data() + taken_ + count, samples.data() + before,
                   rounded);
    taken_ += count;
    done += count;
    position_ += count;
  }
  return done;
}

/// Reads as much of the source as `frames` frames need, and at its end makes
/// the length what it has to be. Everything that was ready has been taken.
void MonoResampler::refill(std::size_t frames) {
  block_.clear();
  ready_.clear();
  taken_ = 0;
  const std::uint64_t needed =
      std::min(frames, kBlockFrames) * std::uint64_t{source_->sampleRate()};
  const auto wanted = static_cast<std::size_t>(
      std::min<std::uint64_t>(needed / audio::kAnalysisRate + 1, kBlockFrames));
  ended_ = source_->read(block_, wanted) < wanted;
  mix();
  resample(mono_.data(), mono_.size());
  if (!ended_) return;
  resample(nullptr, 0);
  ready_.resize(static_cast<std::size_t>(resampled(source_->position()) - position_));
}

void MonoResampler::mix() {
  const std::size_t channels = source_->channels();
  mono_.resize(block_.size() / channels);
  const auto mix = channels == 1 ? mixFrames<1> : channels == 2 ? mixFrames<2> : mixFrames<0>;
  mix(block_.data(), channels, mono_);
}

/// Passes frames through the filter, or with null its rest.
void MonoResampler::resample(const float* mono, std::size_t frames) {
  std::size_t done = 0;
  std::size_t used = 0;
  std::size_t written = 0;
  do {
    const std::size_t before = ready_.size();
    ready_.resize(before + kBlockFrames);
    if (soxr_process(handle_.get(), mono ? mono + done : nullptr, frames - done, &used,
                     ready_.data() + before, kBlockFrames, &written) != nullptr) {
      throw std::bad_alloc();
    }
    ready_.resize(before + written);
    done += used;
  } while (written == kBlockFrames || done < frames);
}

}  // namespace audiomatch
