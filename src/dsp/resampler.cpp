#include "dsp/resampler.h"

#include <libresample.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "base/logger.h"
#include "base/memory.h"

namespace audio {
namespace {

// More than a handle takes while it is made: filter tables of 35 × 4096 / 2
// floats and doubles, and the buffers of a block.
constexpr std::size_t kHandleBytes = std::size_t{2} << 20;

/// True when the allocator has a handle's memory to give right now.
bool memoryForHandle() noexcept {
  const CArray<char> memory(static_cast<char*>(std::malloc(kHandleBytes)));
  if (!memory) return false;
  // A block that nobody writes to is one that a compiler needn't ask for.
  *static_cast<volatile char*>(memory.get()) = 0;
  return true;
}

double factorOf(std::uint32_t sourceRate, std::uint32_t targetRate) noexcept {
  return static_cast<double>(targetRate) / static_cast<double>(sourceRate);
}

}  // namespace

void Resampler::CloseHandle::operator()(void* handle) const noexcept { resample_close(handle); }

Resampler::~Resampler() {
  out_.reset();
  handle_.reset();
}

std::uint64_t Resampler::outputLength(std::uint64_t inputLen, std::uint32_t sourceRate,
                                      std::uint32_t targetRate) noexcept {
  const double length = static_cast<double>(inputLen) * factorOf(sourceRate, targetRate) + 0.5;
  return length < 0x1p63 ? static_cast<std::uint64_t>(length) : UINT64_MAX;
}

bool Resampler::open(int highQuality, float minFactor, float maxFactor) noexcept {
  handle_.reset();
  // libresample uses its memory without looking whether it got any.
  if (!memoryForHandle()) return false;
  handle_.reset(
      resample_open(highQuality, static_cast<double>(minFactor), static_cast<double>(maxFactor)));
  return handle_ != nullptr;
}

bool Resampler::set(const float* input, std::uint32_t inputLen, std::uint32_t sourceRate,
                    std::uint32_t targetRate) noexcept {
  if (!input) {
    logMessage("input a NULL.");
    return false;
  }
  in_ = input;
  in_len_ = inputLen;
  source_rate_ = sourceRate;
  target_rate_ = targetRate;
  factor_ = factorOf(sourceRate, targetRate);
  out_.reset();
  out_len_ = 0;

  const std::uint64_t length = outputLength(inputLen, sourceRate, targetRate);
  if (length == 0) {
    logMessage("resample out_len = 0.");
    return false;
  }
  if (length > UINT32_MAX) return false;
  out_len_ = static_cast<std::uint32_t>(length);
  if (const auto bytes = matrixBytes(1, out_len_, sizeof(float))) {
    out_ = unsetArray<float>(*bytes);
  }
  return out_ != nullptr;
}

bool Resampler::process() noexcept {
  if (!handle_ || !in_ || !out_) return false;
  if (source_rate_ == target_rate_) {
    std::copy_n(in_, out_len_, out_.get());
    return true;
  }
  if (in_len_ > INT_MAX || out_len_ > INT_MAX) return false;
  int used = 0;
  // libresample reads its input through a pointer that isn't const.
  const int written =
      resample_process(handle_.get(), factor_, const_cast<float*>(in_), static_cast<int>(in_len_),
                       1, &used, out_.get(), static_cast<int>(out_len_));
  if (written < 0) return false;
  std::fill(out_.get() + written, out_.get() + out_len_, 0.0f);
  return true;
}

}  // namespace audio
