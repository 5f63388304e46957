#include "tool/recognition/loudness.h"

#include <algorithm>

namespace audiomatch {
namespace {

constexpr std::uint32_t kBlocksPerSecond = 4;
constexpr double kFullScale = 32768.0;
constexpr double kSilentPower = 1e-6;  // -60 dB

}  // namespace

SilenceFinder::SilenceFinder(std::uint32_t sampleRate, std::uint32_t channels)
    : block_samples_(std::size_t{std::max(sampleRate / kBlocksPerSecond, 1u)} * channels),
      block_seconds_(static_cast<double>(block_samples_) / channels / sampleRate) {}

void SilenceFinder::add(std::span<const std::int16_t> samples) {
  while (!samples.empty()) {
    const std::size_t taken = std::min(samples.size(), block_samples_ - in_block_);
    for (const std::int16_t sample : samples.first(taken))
      squares_ += static_cast<double>(sample) * sample;
    samples = samples.subspan(taken);
    in_block_ += taken;
    if (in_block_ == block_samples_) endBlock();
  }
}

void SilenceFinder::endBlock() {
  const double power = squares_ / (static_cast<double>(in_block_) * kFullScale * kFullScale);
  const double from = static_cast<double>(blocks_) * block_seconds_;
  const double to = static_cast<double>(++blocks_) * block_seconds_;
  in_block_ = 0;
  squares_ = 0.0;
  if (power >= kSilentPower) return;
  if (!silences_.empty() && silences_.back().to == from) {
    silences_.back().to = to;
  } else {
    silences_.push_back({from, to});
  }
}

std::vector<TimeSpan> SilenceFinder::since(double second) {
  while (!silences_.empty() && silences_.front().to <= second) silences_.pop_front();
  return {silences_.begin(), silences_.end()};
}

}  // namespace audiomatch
