#include "feature/float_logarithm.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace audio {
namespace {

constexpr std::size_t kBlock = 64;  // stays in the first-level cache

// The bound, relative to the logarithm, is 2^-37; the error is below 0.65 of it:
//   With x = 2^k m, m from √½ to √2, and s = (m - 1) / (m + 1),
//   ln x = k ln 2 + 2 artanh s = k ln 2 + s f(z), z = s² < 0.02944 = Z,
//   f(z) = 2 (1 + z/3 + z²/5 + ...).
//   The polynomial meets f in the five Chebyshev nodes of 0 to Z. So they differ by
//   at most 2 (Z/4)^5 times the largest f⁽⁵⁾/5!, which is f⁽⁵⁾(Z)/5! < 2/11 / (1 - Z)^6:
//   less than 9.5 × 10⁻¹², of f ≥ 2 and hence of ln m less than 4.75 × 10⁻¹².
//   Where k isn't 0, ln m is at most as large as ln x.
//   m, m - 1 and m + 1 are exact. Nothing cancels but k ln 2 with ln m, to no less than
//   half of k ln 2: all roundings together, and the C library's own error, stay below
//   20 × 2^-53 of ln x.
constexpr double kBound = 0x1p-37;
constexpr double kSeries[] = {0x1.0000000004991p+1, 0x1.555554db6169cp-1, 0x1.999a9bd2b2542p-2,
                              0x1.2432e7e8ebbe7p-2, 0x1.e3aa729a5f45ep-3};

struct Bounds {
  float low;
  float high;

  /// False also where one isn't a number.
  bool agree() const noexcept { return low == high; }
};

/// Both ends of the bound of a logarithm, narrowed; meaningless where the value isn't
/// positive, normal and finite. No branch and no call, so that it vectorises.
inline Bounds boundLogarithm(float value) noexcept {
  constexpr std::uint32_t kRootOfHalf = 0x3F3504F3;  // √½ in single precision, rounded down
  const auto bits = std::bit_cast<std::uint32_t>(value);
  const auto exponent = static_cast<std::int32_t>(bits - kRootOfHalf) >> 23;
  const double m = std::bit_cast<float>(bits - (static_cast<std::uint32_t>(exponent) << 23));
  const double s = (m - 1.0) / (m + 1.0);
  const double z = s * s;
  const double z2 = z * z;
  // Estrin's order: shorter chains than Horner's.
  const double series =
      (kSeries[0] + z * kSeries[1]) + z2 * ((kSeries[2] + z * kSeries[3]) + z2 * kSeries[4]);
  const double logarithm = exponent * std::numbers::ln2 + s * series;
  return {static_cast<float>(logarithm * (1.0 - kBound)),
          static_cast<float>(logarithm * (1.0 + kBound))};
}

/// False also for what isn't a number.
inline bool isPositiveNormal(float value) noexcept {
  return static_cast<int>(value >= FLT_MIN) & static_cast<int>(value <= FLT_MAX);
}

/// Writes all logarithms whose bounds decide them, and what doesn't matter for the others;
/// returns whether there were none of these.
bool decideAll(const float* values, std::size_t count, float* logarithms) noexcept {
  std::uint32_t open = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const Bounds bounds = boundLogarithm(values[i]);
    logarithms[i] = bounds.low;
    open |= static_cast<std::uint32_t>(!bounds.agree()) |
            static_cast<std::uint32_t>(!isPositiveNormal(values[i]));
  }
  return open == 0;
}

void replaceOne(float& value) noexcept {
  const Bounds bounds = boundLogarithm(value);
  value = isPositiveNormal(value) && bounds.agree()
              ? bounds.low
              : static_cast<float>(std::log(static_cast<double>(value)));
}

void replaceBlock(float* values, std::size_t count) noexcept {
  std::array<float, kBlock> logarithms;
  if (decideAll(values, count, logarithms.data())) {
    std::copy_n(logarithms.data(), count, values);
  } else {
    std::for_each(values, values + count, replaceOne);
  }
}

}  // namespace

void replaceByLogarithms(float* values, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; i += kBlock) {
    replaceBlock(values + i, std::min(kBlock, count - i));
  }
}

}  // namespace audio
