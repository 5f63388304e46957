#pragma once

#include <cstdint>
#include <vector>

namespace audio {

/// Sorts offsets ascending. They lie within a few ten thousand frames, so two
/// passes of a radix sort usually do for a long list.
void sortOffsets(std::vector<std::int32_t>& offsets);

}  // namespace audio
