#include "tool/landmark_key.h"

namespace audiomatch {

LandmarkKey landmarkOfKey(std::uint32_t hashKey) noexcept {
  const auto distance = static_cast<std::int32_t>(hashKey >> 6 & 0x3F);
  // Six bits, two's complement.
  return {hashKey >> 12 & 0xFF, distance < 32 ? distance : distance - 64, hashKey & 0x3F};
}

}  // namespace audiomatch
