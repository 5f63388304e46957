#include "jni/pcm_ingestion.h"

#include <cstdint>

#include "base/logger.h"

namespace audio::jni {
namespace {

bool fits32(jlong number) noexcept { return number >= 0 && number <= jlong{UINT32_MAX}; }

std::optional<PcmShape> shapeOf(const JavaPcm<jarray>& pcm) noexcept {
  if (!fits32(pcm.channels) || !fits32(pcm.frames) || !fits32(pcm.sample_rate)) {
    return std::nullopt;
  }
  return PcmShape{static_cast<std::uint32_t>(pcm.channels), static_cast<std::uint32_t>(pcm.frames),
                  static_cast<std::uint32_t>(pcm.sample_rate)};
}

/// True when `bytes` are 2 × frames × channels in 64 bits.
bool isExact(std::int64_t bytes, const JavaPcm<jarray>& pcm) noexcept {
  std::int64_t expected = 0;
  if (__builtin_mul_overflow(std::int64_t{2}, std::int64_t{pcm.frames}, &expected)) return false;
  if (__builtin_mul_overflow(expected, std::int64_t{pcm.channels}, &expected)) return false;
  return bytes == expected;
}

bool isEnough(std::int64_t bytes, const PcmShape& shape) noexcept {
  return std::uint64_t{shape.channels} * shape.frames <=
         static_cast<std::uint64_t>(bytes) / sizeof(std::int16_t);
}

}  // namespace

jlong framesOfBytes(jlong bytesPerChannel) noexcept {
  return fits32(bytesPerChannel) ? bytesPerChannel / jlong{sizeof(std::int16_t)} : -1;
}

std::optional<PcmShape> checkPcm(JNIEnv* env, const JavaPcm<jarray>& pcm, std::size_t elementSize,
                                 PcmLength length) noexcept {
  const auto shape = shapeOf(pcm);
  if (!pcm.array || (!shape && length == PcmLength::kEnough)) return std::nullopt;
  const jsize elements = env->GetArrayLength(pcm.array);
  const auto bytes = std::int64_t{elements} * static_cast<std::int64_t>(elementSize);
  if (length == PcmLength::kExact ? isExact(bytes, pcm) : isEnough(bytes, *shape)) return shape;
  logMessage("bad data lenght : %d.", static_cast<int>(elements));
  return std::nullopt;
}

}  // namespace audio::jni
