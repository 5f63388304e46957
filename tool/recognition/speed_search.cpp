#include "tool/recognition/speed_search.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "tool/base/interrupt.h"

namespace audiomatch {
namespace {

std::int32_t agreeingOf(const Answer& answer) noexcept {
  return answer.verdict.candidates.empty() ? 0 : answer.verdict.candidates[0].agreeing;
}

}  // namespace

bool isRecognisedAtSpeed(const Answer& answer, const Thresholds& thresholds) noexcept {
  return thresholds.recognise(agreeingOf(answer) - SpeedSearch::kMoreAgreeing,
                              answer.verdict.discrimination, answer.features);
}

audio::AudioDataPtr slowedDown(const audio::AudioData& recording, double factor) {
  const double length = std::max(std::round(recording.dataLen() * factor), 1.0);
  if (length > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
  audio::AudioDataPtr slow(audio::AudioData::create(recording.channels(), recording.sampleRate(),
                                                    static_cast<std::uint32_t>(length)));
  if (!slow) throw std::bad_alloc();
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  const soxr_runtime_spec_t one_thread = soxr_runtime_spec(1);
  for (std::uint32_t channel = 0; channel < recording.channels(); ++channel) {
    std::size_t written = 0;
    if (soxr_oneshot(1.0, factor, 1, recording.channelData(channel), recording.dataLen(), nullptr,
                     slow->channelData(channel), slow->dataLen(), &written, nullptr, &quality,
                     &one_thread) != nullptr) {
      throw std::bad_alloc();
    }
  }
  return slow;
}

AnswerAtSpeed SpeedSearch::recognise(const audio::AudioData& recording,
                                     const std::function<void()>& tried) {
  AnswerAtSpeed plain{recogniser_.recognise(recording), 0.0};
  // What has no features at one speed has none at any.
  if (plain.answer.features == 0) return plain;
  AnswerAtSpeed best = plain;
  for (int step = -steps_; step <= steps_; ++step) {
    checkInterrupt();
    if (step == 0) continue;
    const double percent = step * kStep;
    AnswerAtSpeed other{recogniser_.recognise(*slowedDown(recording, 1.0 + percent / 100.0)),
                        percent};
    if (agreeingOf(other.answer) > agreeingOf(best.answer)) best = std::move(other);
    tried();
  }
  return isRecognisedAtSpeed(best.answer, recogniser_.thresholds()) ? best : plain;
}

}  // namespace audiomatch
