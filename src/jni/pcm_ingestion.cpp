#include "jni/pcm_ingestion.h"

#include <cstdint>

#include "base/logger.h"

namespace audio::jni {

bool fits32(jlong number) noexcept { return number >= 0 && number <= jlong{UINT32_MAX}; }

std::optional<PcmShape> pcmShape(jlong channels, jlong frames, jlong sampleRate) noexcept {
  if (!fits32(channels) || !fits32(frames) || !fits32(sampleRate)) return std::nullopt;
  return PcmShape{static_cast<std::uint32_t>(channels), static_cast<std::uint32_t>(frames),
                  static_cast<std::uint32_t>(sampleRate)};
}

bool arrayHolds(JNIEnv* env, jarray pcm, std::size_t elementSize, const PcmShape& shape) noexcept {
  const jsize length = env->GetArrayLength(pcm);
  const auto samples = static_cast<std::uint64_t>(length) * elementSize / sizeof(std::int16_t);
  if (std::uint64_t{shape.channels} * shape.frames <= samples) return true;
  logMessage("bad data lenght : %d.", static_cast<int>(length));
  return false;
}

}  // namespace audio::jni
