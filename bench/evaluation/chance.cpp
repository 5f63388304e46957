#include "chance.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "match/scoring/offset_consensus.h"

namespace bench {
namespace {

using audio::AudioHashHit;
using Random = std::mt19937_64;

// Frames that a hit is moved by at most: as far as hits agree.
constexpr std::uint64_t kMoved = audio::kOffsetTolerance;

double uniform(Random& random) { return static_cast<double>(random() >> 11) * 0x1p-53; }

/// From a normal distribution, which a Poisson one is like where it counts: at tens of hits and
/// more (G. Box and M. Muller, "A note on the generation of random normal deviates", 1958).
std::size_t drawCount(std::size_t mean, Random& random) {
  const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform(random)));
  const double normal = radius * std::cos(2.0 * std::numbers::pi * uniform(random));
  const double count = static_cast<double>(mean) + std::sqrt(static_cast<double>(mean)) * normal;
  return static_cast<std::size_t>(std::max(0.0, std::round(count)));
}

/// Appends the hits of an audio that is like another one.
void appendLike(std::span<const AudioHashHit> model, std::int32_t audio, Random& random,
                std::vector<AudioHashHit>& hits) {
  for (std::size_t left = drawCount(model.size(), random); left > 0; --left) {
    const std::uint64_t drawn = random();
    // Of 32 bits, whose share is even enough for a few thousand hits.
    const auto which = static_cast<std::size_t>((drawn >> 32) * model.size() >> 32);
    const auto moved = static_cast<std::int32_t>((drawn & UINT32_MAX) % (2 * kMoved + 1)) -
                       static_cast<std::int32_t>(kMoved);
    hits.push_back({audio, model[which].time_offset + moved});
  }
}

}  // namespace

std::vector<AudioHashHit> growByChance(std::span<const AudioHashHit> hits,
                                       const std::vector<bool>& is_chance, std::size_t copies,
                                       Random& random) {
  std::vector<AudioHashHit> models(hits.begin(), hits.end());
  std::ranges::stable_sort(models, {}, &AudioHashHit::audio_index);
  std::vector<AudioHashHit> all(hits.begin(), hits.end());
  all.reserve(hits.size() * (copies + 1) + hits.size() / 8);
  for (auto begin = models.begin(), end = begin; begin != models.end(); begin = end) {
    const auto audio = static_cast<std::size_t>(begin->audio_index);
    end = std::find_if(begin, models.end(), [&](const AudioHashHit& hit) {
      return hit.audio_index != begin->audio_index;
    });
    if (!is_chance[audio]) continue;
    for (std::size_t copy = 0; copy < copies; ++copy) {
      const std::size_t further = is_chance.size() + audio * copies + copy;
      appendLike({begin, end}, static_cast<std::int32_t>(further), random, all);
    }
  }
  return all;
}

}  // namespace bench
