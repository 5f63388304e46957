#include "tool/input/rate_reducer.h"

#include <libresample.h>

#include <algorithm>
#include <new>

#include "base/analysis_grid.h"
#include "tool/input/decoder.h"

namespace audiomatch {
namespace {

constexpr std::uint32_t kOtherwiseRate = 48'000;
constexpr std::size_t kBlockFrames = 16'384;
constexpr float kScale = 32767.0f;  // as toPcm16 has it

}  // namespace

std::uint32_t reducedRate(std::uint32_t rate) noexcept {
  const std::uint32_t least = rate / (audio::kHighestRate + 1) + 1;
  for (std::uint32_t divisor = least; divisor <= 2 * least; ++divisor) {
    if (rate % divisor == 0) return rate / divisor;
  }
  return kOtherwiseRate;
}

void RateReducer::Close::operator()(void* handle) const noexcept { resample_close(handle); }

RateReducer::RateReducer(std::unique_ptr<SoundSource> source)
    : source_(std::move(source)),
      rate_(reducedRate(source_->sampleRate())),
      factor_(static_cast<double>(rate_) / source_->sampleRate()),
      ready_(source_->channels()) {
  for (std::uint32_t i = 0; i < source_->channels(); ++i) {
    handles_.emplace_back(resample_open(1, factor_, factor_));
    if (!handles_.back()) throw std::bad_alloc();
  }
}

/// Frames at the lower rate, of which the first is that of the source.
std::uint64_t RateReducer::reduced(std::uint64_t frames) const noexcept {
  return (frames * rate_ + source_->sampleRate() - 1) / source_->sampleRate();
}

std::size_t RateReducer::read(std::vector<std::int16_t>& samples, std::size_t frames) {
  std::size_t done = 0;
  while (done < frames) {
    if (ready_[0].empty()) {
      if (ended_) break;
      refill(frames - done);
      continue;
    }
    const std::size_t count = std::min(frames - done, ready_[0].size());
    for (std::size_t frame = 0; frame < count; ++frame) {
      for (const auto& channel : ready_) samples.push_back(toPcm16(channel[frame]));
    }
    for (auto& channel : ready_) {
      channel.erase(channel.begin(), channel.begin() + static_cast<std::ptrdiff_t>(count));
    }
    done += count;
    position_ += count;
  }
  return done;
}

/// Reads as much of the source as `frames` frames need, and at its end makes
/// the length what it has to be.
void RateReducer::refill(std::size_t frames) {
  block_.clear();
  const double needed = static_cast<double>(std::min(frames, kBlockFrames)) / factor_ + 1.0;
  const std::size_t wanted = std::min(static_cast<std::size_t>(needed), kBlockFrames);
  ended_ = source_->read(block_, wanted) < wanted;
  for (std::size_t channel = 0; channel < ready_.size(); ++channel) reduceChannel(channel, ended_);
  if (!ended_) return;
  const std::uint64_t left = reduced(source_->position()) - position_;
  for (auto& channel : ready_) channel.resize(static_cast<std::size_t>(left));
}

void RateReducer::reduceChannel(std::size_t channel, bool last) {
  const std::size_t channels = ready_.size();
  std::vector<float> input(block_.size() / channels);
  for (std::size_t frame = 0; frame < input.size(); ++frame) {
    input[frame] = static_cast<float>(block_[frame * channels + channel]) / kScale;
  }
  std::vector<float> output(kBlockFrames);
  std::size_t done = 0;
  int used = 0;
  int written = 0;
  do {
    written = resample_process(handles_[channel].get(), factor_, input.data() + done,
                               static_cast<int>(input.size() - done), last, &used, output.data(),
                               static_cast<int>(output.size()));
    done += static_cast<std::size_t>(used);
    ready_[channel].insert(ready_[channel].end(), output.begin(),
                           output.begin() + std::max(written, 0));
  } while (written > 0 || used > 0);
}

}  // namespace audiomatch
