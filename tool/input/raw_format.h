#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace audiomatch {

/// The shape of interleaved samples that come without a header.
struct RawFormat {
  std::uint32_t rate = 8000;  ///< Hz
  std::uint32_t channels = 1;
  std::string encoding = "s16le";  ///< one of rawEncodings()
};

/// Names of the encodings of raw samples, such as s16le: signed, unsigned or
/// floating point, bits, byte order.
std::vector<std::string> rawEncodings();

/// libsndfile's number for an encoding. The name is one of rawEncodings().
int sndfileEncoding(std::string_view name) noexcept;

}  // namespace audiomatch
