#include "match/random_draw.h"

#include <cstdlib>

namespace audio {
namespace {

constinit std::mutex sequence;

}  // namespace

RandomDraws::RandomDraws() : hold_(sequence) {}

std::uint32_t RandomDraws::next() noexcept { return static_cast<std::uint32_t>(lrand48()); }

}  // namespace audio
