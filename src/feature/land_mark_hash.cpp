#include "feature/land_mark_hash.h"

namespace audio {

std::uint32_t hashLandMark(const LandMark& landMark) noexcept {
  const auto delta_time = static_cast<std::uint32_t>(landMark.deltaTime) & 0x3Fu;
  const auto delta_freq = (static_cast<std::uint32_t>(landMark.targetFreq) -
                           static_cast<std::uint32_t>(landMark.anchorFreq)) &
                          0x3Fu;
  const auto anchor_freq = static_cast<std::uint32_t>(landMark.anchorFreq) & 0xFFu;
  return anchor_freq << 12 | delta_freq << 6 | delta_time;
}

void computeHashKeys(const LandMark* landMarks, std::size_t count,
                     std::uint32_t* hashKeys) noexcept {
  if (!landMarks || !hashKeys) return;
  for (std::size_t i = 0; i < count; ++i) hashKeys[i] = hashLandMark(landMarks[i]);
}

}  // namespace audio
