#include "tool/recognition/listening_windows.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "base/analysis_grid.h"
#include "tool/input/recording.h"

namespace audiomatch {
namespace {

audio::AudioDataPtr toAudio(const std::vector<float>& sound) {
  audio::AudioDataPtr audio(
      audio::AudioData::create(1, audio::kAnalysisRate, static_cast<std::uint32_t>(sound.size())));
  if (!audio) throw std::bad_alloc();
  std::ranges::copy(sound, audio->channelData(0));
  return audio;
}

}  // namespace

ListeningWindows::ListeningWindows(SoundSource& source, const WindowGrid& grid)
    : source_(source), grid_(grid), silences_(source.sampleRate(), source.channels()) {
  if (!resampler_.open(1, audio::kLowestFactor, audio::kHighestFactor)) throw std::bad_alloc();
}

std::optional<Window> ListeningWindows::next(double settled) {
  if (ended_) return std::nullopt;
  const double end = static_cast<double>(++steps_) * grid_.every;
  const auto wanted =
      static_cast<std::uint64_t>(std::llround(end * source_.sampleRate())) - frames_read_;
  std::vector<std::int16_t> samples;
  const std::size_t came = source_.read(samples, static_cast<std::size_t>(wanted));
  ended_ = came < wanted;
  if (came == 0) return std::nullopt;
  frames_read_ += came;
  silences_.add(samples);
  append(samples);
  const double read = static_cast<double>(frames_read_) / source_.sampleRate();
  const double length = static_cast<double>(sound_.size()) / audio::kAnalysisRate;
  return Window{{std::max(read - length, 0.0), read}, toAudio(sound_), silences_.since(settled)};
}

/// Puts samples behind those that are held, of which the oldest go.
void ListeningWindows::append(const std::vector<std::int16_t>& samples) {
  const std::uint32_t rate = source_.sampleRate();
  const audio::AudioDataPtr mono =
      audio::monoMix(*audiomatch::toAudio(samples, source_.channels(), rate));
  if (!mono) throw std::bad_alloc();
  // A rest of less than a sample is none.
  if (audio::Resampler::outputLength(mono->dataLen(), rate, audio::kAnalysisRate) == 0) return;
  if (!resampler_.set(mono->channelData(0), mono->dataLen(), rate, audio::kAnalysisRate) ||
      !resampler_.process()) {
    throw std::bad_alloc();
  }
  sound_.insert(sound_.end(), resampler_.output(), resampler_.output() + resampler_.outputLen());
  const auto most = static_cast<std::size_t>(std::llround(grid_.length * audio::kAnalysisRate));
  if (sound_.size() > most) {
    sound_.erase(sound_.begin(), sound_.end() - static_cast<std::ptrdiff_t>(most));
  }
}

}  // namespace audiomatch
