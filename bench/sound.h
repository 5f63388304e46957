#pragma once

#include <cstdint>
#include <vector>

namespace bench {

/// Mono samples, 1.0 at full scale, and their rate in Hz.
struct Sound {
  std::vector<float> samples;
  std::uint32_t rate;
};

}  // namespace bench
