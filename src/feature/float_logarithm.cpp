#include "feature/float_logarithm.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "base/wide_vectors.h"

namespace audio {
namespace {

constexpr std::size_t kBlock = 64;  // stays in the first-level cache with all that is made of it

// The bound, relative to the logarithm, is 2^-37; the error is below 0.65 of it:
//   With x = 2^k m, m from √½ to √2, and s = (m - 1) / (m + 1),
//   ln x = k ln 2 + 2 artanh s = k ln 2 + s f(z), z = s² < 0.02944 = Z,
//   f(z) = 2 (1 + z/3 + z²/5 + ...).
//   The polynomial meets f in the five Chebyshev nodes of 0 to Z. So they differ by
//   at most 2 (Z/4)^5 times the largest f⁽⁵⁾/5!, which is f⁽⁵⁾(Z)/5! < 2/11 / (1 - Z)^6:
//   less than 9.4 × 10⁻¹², of f ≥ 2 and hence of ln m less than 4.7 × 10⁻¹².
//   Where k isn't 0, ln m is at most as large as ln x.
//   m, m - 1 and m + 1 are exact. Nothing cancels but k ln 2 with ln m, to no less than
//   half of k ln 2: all roundings together, and the C library's own error, stay below
//   20 × 2^-53 of ln x.
constexpr int kBoundBits = 37;
constexpr double kSeries[] = {0x1.0000000004991p+1, 0x1.555554db6169cp-1, 0x1.999a9bd2b2542p-2,
                              0x1.2432e7e8ebbe7p-2, 0x1.e3aa729a5f45ep-3};

// A block's way to its logarithms goes in steps over all of it, each without a branch or a
// call, so that they vectorise: in one loop the chain from a value to its logarithm is longer
// than what a processor looks ahead.

/// The quotients s and the terms k ln 2, meaningless where a value isn't positive, normal and
/// finite.
void split(const float* values, std::size_t count, double* __restrict quotients,
           double* __restrict powers) noexcept {
  constexpr std::uint32_t kRootOfHalf = 0x3F3504F3;  // √½ in single precision, rounded down
  for (std::size_t i = 0; i < count; ++i) {
    const auto bits = std::bit_cast<std::uint32_t>(values[i]);
    const auto exponent = static_cast<std::int32_t>(bits - kRootOfHalf) >> 23;
    const double m = std::bit_cast<float>(bits - (static_cast<std::uint32_t>(exponent) << 23));
    quotients[i] = (m - 1.0) / (m + 1.0);
    powers[i] = exponent * std::numbers::ln2;
  }
}

/// Turns the terms k ln 2 into logarithms.
void addSeries(const double* __restrict quotients, std::size_t count,
               double* __restrict logarithms) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    const double s = quotients[i];
    const double z = s * s;
    const double z2 = z * z;
    // Estrin's order: shorter chains than Horner's.
    const double series =
        (kSeries[0] + z * kSeries[1]) + z2 * ((kSeries[2] + z * kSeries[3]) + z2 * kSeries[4]);
    logarithms[i] += s * series;
  }
}

/// Whether the bound may let a logarithm narrow to either of two floats: the bits that narrowing
/// cuts off are then next to a half of the last that stays. A double is less than 2^53 of its
/// last places, so the bound is less than 2^16 of them. The logarithm of 1 is 0, which is exact;
/// all others are normal.
inline bool isOpen(double logarithm) noexcept {
  constexpr int kCutBits = DBL_MANT_DIG - FLT_MANT_DIG;
  constexpr std::uint32_t kHalf = std::uint32_t{1} << (kCutBits - 1);
  constexpr std::uint32_t kReach = std::uint32_t{1} << (DBL_MANT_DIG - kBoundBits);
  // The bits above are shifted out.
  constexpr int kShift = 32 - kCutBits;
  const auto low = static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(logarithm));
  return (low - (kHalf - kReach)) << kShift <= (2 * kReach) << kShift;
}

/// False also for what isn't a number.
inline bool isPositiveNormal(float value) noexcept {
  return static_cast<int>(value >= FLT_MIN) & static_cast<int>(value <= FLT_MAX);
}

/// Narrows all logarithms, also those that it doesn't decide; returns whether there were none.
bool narrow(const float* values, const double* logarithms, std::size_t count,
            float* __restrict narrowed) noexcept {
  std::uint32_t open = 0;
  for (std::size_t i = 0; i < count; ++i) {
    narrowed[i] = static_cast<float>(logarithms[i]);
    open |= static_cast<std::uint32_t>(isOpen(logarithms[i])) |
            static_cast<std::uint32_t>(!isPositiveNormal(values[i]));
  }
  return open == 0;
}

AUDIO_WIDE_VECTORS void replaceBlock(float* values, std::size_t count) noexcept {
  std::array<double, kBlock> quotients;
  std::array<double, kBlock> logarithms;
  std::array<float, kBlock> narrowed;
  split(values, count, quotients.data(), logarithms.data());
  addSeries(quotients.data(), count, logarithms.data());
  if (!narrow(values, logarithms.data(), count, narrowed.data())) {
    for (std::size_t i = 0; i < count; ++i) {
      if (isPositiveNormal(values[i]) && !isOpen(logarithms[i])) continue;
      narrowed[i] = static_cast<float>(std::log(static_cast<double>(values[i])));
    }
  }
  std::copy_n(narrowed.data(), count, values);
}

}  // namespace

void replaceByLogarithms(float* values, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; i += kBlock) {
    replaceBlock(values + i, std::min(kBlock, count - i));
  }
}

}  // namespace audio
