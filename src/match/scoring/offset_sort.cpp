#include "match/scoring/offset_sort.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace audio {
namespace {

constexpr std::size_t kWorthwhile = 64;  // below, comparing is faster
constexpr unsigned kDigitBits = 8;
constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;

/// One stable pass by the digit at `shift` of the distance from `lowest`.
void sortByDigit(const std::vector<std::int32_t>& from, std::vector<std::int32_t>& to,
                 std::int32_t lowest, unsigned shift) noexcept {
  const auto digit = [=](std::int32_t offset) {
    const auto distance = static_cast<std::uint32_t>(offset) - static_cast<std::uint32_t>(lowest);
    return distance >> shift & (kDigits - 1);
  };
  std::array<std::size_t, kDigits + 1> place{};
  for (const std::int32_t offset : from) ++place[digit(offset) + 1];
  for (std::size_t i = 1; i < kDigits; ++i) place[i] += place[i - 1];
  for (const std::int32_t offset : from) to[place[digit(offset)]++] = offset;
}

}  // namespace

void sortOffsets(std::vector<std::int32_t>& offsets) {
  if (offsets.size() < kWorthwhile) {
    std::sort(offsets.begin(), offsets.end());
    return;
  }
  const auto [lowest, highest] = std::minmax_element(offsets.begin(), offsets.end());
  const std::int32_t first = *lowest;
  const std::uint32_t range =
      static_cast<std::uint32_t>(*highest) - static_cast<std::uint32_t>(first);
  std::vector<std::int32_t> other(offsets.size());
  for (unsigned shift = 0; shift < 32 && range >> shift > 0; shift += kDigitBits) {
    sortByDigit(offsets, other, first, shift);
    offsets.swap(other);
  }
}

}  // namespace audio
