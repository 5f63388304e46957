#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "base/logger.h"

/// Ends the run as a finding unless the property holds.
#define FUZZ_REQUIRE(property)                                                          \
  do {                                                                                  \
    if (!(property)) {                                                                  \
      std::fprintf(stderr, "%s:%d: doesn't hold: %s\n", __FILE__, __LINE__, #property); \
      std::abort();                                                                     \
    }                                                                                   \
  } while (false)

namespace audiofuzz {

/// Takes an input apart from front to back. What it hasn't got is zero, so that
/// every input means something.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) noexcept : left_(data, size) {}

  bool empty() const noexcept { return left_.empty(); }

  /// The next number, little-endian.
  template <typename Number>
  Number number() noexcept {
    Number value = 0;
    const auto taken = bytes(sizeof value);
    if (!taken.empty()) std::memcpy(&value, taken.data(), taken.size());
    return value;
  }
  std::uint8_t u8() noexcept { return number<std::uint8_t>(); }
  std::uint16_t u16() noexcept { return number<std::uint16_t>(); }
  std::uint32_t u32() noexcept { return number<std::uint32_t>(); }
  std::uint64_t u64() noexcept { return number<std::uint64_t>(); }

  /// Up to `most` of the next bytes.
  std::span<const std::uint8_t> bytes(std::size_t most) noexcept {
    const auto taken = left_.first(std::min(most, left_.size()));
    left_ = left_.subspan(taken.size());
    return taken;
  }
  std::span<const std::uint8_t> rest() noexcept { return bytes(left_.size()); }

 private:
  std::span<const std::uint8_t> left_;
};

/// To be called first: one random sequence for every run, and messages in one
/// run of 64, chosen by the input so that a finding can be repeated.
inline void beginRun(const std::uint8_t* data, std::size_t size) noexcept {
  srand48(1);
  std::uint32_t checksum = 2'166'136'261U;
  for (std::size_t i = 0; i < size; ++i) checksum = (checksum ^ data[i]) * 16'777'619U;
  audio::gLogger.setEnabled((checksum >> 16) % 64 == 0);
}

}  // namespace audiofuzz
