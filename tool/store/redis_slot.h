#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace audiomatch {

/// How many slots a Redis Cluster spreads its keys over.
inline constexpr std::size_t kRedisSlots = 16384;

/// The slot of a key: a checksum of its first part in braces that isn't empty, or of
/// all of it.
std::size_t redisSlotOf(std::string_view key) noexcept;

/// The checksum, CRC-16 of polynomial 0x1021, from 0 and highest bit first.
std::uint16_t redisChecksum(std::string_view bytes) noexcept;

}  // namespace audiomatch
