#include "tool/input/audio_reader.h"

#include <fmt/core.h>

#include <algorithm>
#include <stdexcept>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"

namespace audiomatch {
namespace {

constexpr std::size_t kBlockFrames = 8192;

// A promise that is missed by less, in seconds, is no damage: encoders differ
// on what they put at the end.
constexpr double kNotableSeconds = 0.1;

// Silence put in for what is missing, in seconds: more is no recording's loss
// but a time that damage made up.
constexpr double kMostSilence = 3600.0;

}  // namespace

AudioReader::AudioReader(std::filesystem::path name, std::unique_ptr<Decoder> decoder,
                         std::unique_ptr<Feeder> feeder, const SoundOptions& options)
    : name_(std::move(name)),
      options_(options),
      feeder_(std::move(feeder)),
      decoder_(std::move(decoder)) {}

std::size_t AudioReader::read(std::vector<std::int16_t>& samples, std::size_t frames) {
  std::size_t done = 0;
  while (done < frames && !ended_) {
    checkInterrupt();
    const std::size_t wanted = std::min(frames - done, kBlockFrames);
    const std::size_t old_size = samples.size();
    samples.resize(old_size + wanted * channels());
    const std::size_t came = readBlock(samples.data() + old_size, wanted);
    samples.resize(old_size + came * channels());
    done += came;
    if (position_ * channels() > options_.most_samples) {
      throw std::length_error(
          fmt::format("the recording has more than {} samples", options_.most_samples));
    }
  }
  return done;
}

std::size_t AudioReader::readBlock(std::int16_t* samples, std::size_t frames) {
  if (missing_ > 0) {
    const auto silent = static_cast<std::size_t>(std::min<std::uint64_t>(frames, missing_));
    std::fill_n(samples, silent * channels(), std::int16_t{0});
    missing_ -= silent;
    position_ += silent;
    return silent;
  }
  const std::size_t came = decoder_->read(samples, frames);
  position_ += came;
  anything_ = anything_ || came > 0;
  if (feeder_) {
    if (const std::string problem = feeder_->problem(false); !problem.empty()) noteDamage(problem);
  }
  if (came < frames) comeToStop();
  return came;
}

void AudioReader::comeToStop() {
  // A signal ends a pipe, which mustn't pass for its end.
  checkInterrupt();
  const std::string problem = decoder_->problem();
  if (problem.empty()) return comeToEnd();
  noteDamage(problem);
  const std::optional<std::uint64_t> missing = decoder_->resume();
  if (!missing) return comeToEnd();
  silence_ += static_cast<double>(*missing) / sampleRate();
  if (silence_ > kMostSilence) return comeToEnd();
  missing_ = *missing;
}

void AudioReader::comeToEnd() {
  ended_ = true;
  if (feeder_) {
    if (const std::string problem = feeder_->problem(true); !problem.empty()) noteDamage(problem);
  }
  const double seconds = static_cast<double>(position_) / sampleRate();
  const double promised = static_cast<double>(promisedFrames()) / sampleRate();
  if (seconds < promised - kNotableSeconds) {
    noteDamage(fmt::format("ends there, though its header promises {:.1f} s", promised));
  }
  if (damage_ && !anything_) {
    throw FileError(name_, "damaged so that nothing can be read: " + damage_->text);
  }
}

void AudioReader::noteDamage(const std::string& text) {
  const Damage damage{static_cast<double>(position_) / sampleRate(), text};
  if (options_.strict) throw FileError(name_, "damaged " + describe(damage));
  if (!damage_) damage_ = damage;
}

}  // namespace audiomatch
