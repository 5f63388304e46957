#include "tool/store/redis_slot.h"

#include <array>

namespace audiomatch {
namespace {

constexpr std::array<std::uint16_t, 256> kTable = [] {
  std::array<std::uint16_t, 256> table{};
  for (unsigned byte = 0; byte < table.size(); ++byte) {
    unsigned rest = byte << 8;
    for (int bit = 0; bit < 8; ++bit) rest = (rest << 1) ^ ((rest & 0x8000) ? 0x1021 : 0);
    table[byte] = static_cast<std::uint16_t>(rest);
  }
  return table;
}();

}  // namespace

std::uint16_t redisChecksum(std::string_view bytes) noexcept {
  unsigned sum = 0;
  for (const char byte : bytes) {
    sum = (sum << 8) ^ kTable[((sum >> 8) ^ static_cast<unsigned char>(byte)) & 0xff];
  }
  return static_cast<std::uint16_t>(sum);
}

std::size_t redisSlotOf(std::string_view key) noexcept {
  if (const std::size_t open = key.find('{'); open != std::string_view::npos) {
    const std::size_t close = key.find('}', open + 1);
    if (close != std::string_view::npos && close > open + 1) {
      key = key.substr(open + 1, close - open - 1);
    }
  }
  return redisChecksum(key) % kRedisSlots;
}

}  // namespace audiomatch
