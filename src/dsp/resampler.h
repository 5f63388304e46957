#pragma once

#include <cstdint>
#include <memory>

#include "base/memory.h"

namespace audio {

/// Converts one block of mono samples from one rate to another, through
/// libresample, in a single call.
///
/// `open` once, then any number of `set` / `process` pairs. The libresample
/// handle is not reset between blocks: its filter history, its time pointer
/// and samples that didn't fit an output buffer carry into the next block, so
/// a block's first output depends on the block before it. One thread at a time.
class Resampler {
 public:
  Resampler() noexcept = default;
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  /// Samples that `inputLen` samples become: inputLen × target / source, halves
  /// rounded up. UINT64_MAX where that is no number (a source rate of 0) or
  /// beyond 2^63.
  static std::uint64_t outputLength(std::uint64_t inputLen, std::uint32_t sourceRate,
                                    std::uint32_t targetRate) noexcept;

  /// Opens a fresh handle, closing an open one.
  ///
  /// @param highQuality  non-zero for libresample's long filter
  /// @param minFactor    lowest target / source ratio
  /// @param maxFactor    highest ratio
  /// @return false when libresample refuses the bounds or memory is short
  bool open(int highQuality, float minFactor, float maxFactor) noexcept;

  /// Prepares the conversion of `inputLen` samples, which the caller keeps
  /// alive until `process` returned, and sizes the output.
  ///
  /// A null input is refused with a message and changes nothing. An output of
  /// no sample (a message) or one that can't be allocated (none) leaves no
  /// output buffer.
  ///
  /// @param sourceRate  Hz of the input
  /// @param targetRate  Hz of the output
  bool set(const float* input, std::uint32_t inputLen, std::uint32_t sourceRate,
           std::uint32_t targetRate) noexcept;

  /// Converts what `set` prepared; equal rates are a plain copy. Samples that
  /// libresample didn't write are silence. False, without a message, when
  /// something is missing, the block is too long for libresample's int
  /// lengths, or the ratio lies outside the bounds given to `open`.
  bool process() noexcept;

  /// The converted samples, valid until the next `set`; null when none.
  float* output() noexcept { return out_.get(); }
  std::uint32_t outputLen() const noexcept { return out_len_; }

 private:
  struct CloseHandle {
    void operator()(void* handle) const noexcept;
  };

  const float* in_ = nullptr;
  std::uint32_t in_len_ = 0;
  CArray<float> out_;
  std::uint32_t out_len_ = 0;
  std::uint32_t source_rate_ = 0;
  std::uint32_t target_rate_ = 0;
  double factor_ = 0.0;
  std::unique_ptr<void, CloseHandle> handle_;
};

}  // namespace audio
