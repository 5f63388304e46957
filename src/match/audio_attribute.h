#pragma once

#include <cstdint>

namespace audio {

/// A feature's hash key with the packed entry found, or made, for it.
struct AudioAttribute {
  std::uint64_t hashValue;  ///< packed entry: time and audio index
  std::uint32_t hashKey;    ///< landmark hash, below 2^20

  friend bool operator==(const AudioAttribute&, const AudioAttribute&) = default;
};

}  // namespace audio
