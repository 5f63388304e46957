// Decodes sound files by the tool's own decoders and drops what they give: what no analysis of them
// can be faster than. See scripts/bench-indexing.

#include <fmt/core.h>

#include <cstdint>
#include <exception>

#include "tool/input/sound_source.h"

int main(int argc, char** argv) {
  try {
    double seconds = 0.0;
    for (int i = 1; i < argc; ++i) {
      const auto sound = audiomatch::openSound(argv[i]);
      seconds += static_cast<double>(sound->skip(UINT64_MAX)) / sound->sampleRate();
    }
    fmt::print("{:.1f}\n", seconds);
    return 0;
  } catch (const std::exception& problem) {
    fmt::print(stderr, "audiomatch_decoding: {}\n", problem.what());
    return 3;
  }
}
