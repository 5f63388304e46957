#include "chance.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <numeric>

#include "match/scoring/hit_groups.h"
#include "match/scoring/offset_consensus.h"

namespace bench {
namespace {

using Random = std::mt19937_64;

// As the engine: the audios that it scores.
constexpr std::size_t kExamined = 20;
// Audios that can still come among those by chance: a few hundred have about as many hits.
constexpr std::size_t kModels = 1000;
// Frames that a hit is moved by at most: as far as hits agree.
constexpr std::int32_t kMoved = audio::kOffsetTolerance;

/// A further audio that chance makes.
struct Further {
  std::size_t model;
  std::size_t hits;
};

double uniform(Random& random) { return static_cast<double>(random() >> 11) * 0x1p-53; }

/// From a normal distribution, which a Poisson one is like where it counts: at tens of hits and
/// more (G. Box and M. Muller, "A note on the generation of random normal deviates", 1958).
std::size_t drawCount(std::size_t mean, Random& random) {
  const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform(random)));
  const double normal = radius * std::cos(2.0 * std::numbers::pi * uniform(random));
  const double count = static_cast<double>(mean) + std::sqrt(static_cast<double>(mean)) * normal;
  return static_cast<std::size_t>(std::max(0.0, std::round(count)));
}

/// The further audios that have the most hits.
std::vector<Further> drawLargest(const std::vector<audio::HitGroup>& models, std::size_t copies,
                                 const std::vector<bool>& is_chance, Random& random) {
  std::vector<Further> drawn;
  for (std::size_t i = 0; i < models.size(); ++i) {
    if (!is_chance[static_cast<std::size_t>(models[i].audio_index)]) continue;
    for (std::size_t k = 0; k < copies; ++k) {
      drawn.push_back({i, drawCount(models[i].hitCount(), random)});
    }
  }
  std::ranges::stable_sort(drawn, std::greater(), &Further::hits);
  drawn.resize(std::min(drawn.size(), kExamined));
  return drawn;
}

/// The most hits that agree, where each is a model's and moved.
std::int32_t agreeingBy(const Further& further, const audio::HitGroup& model, Random& random) {
  std::vector<std::int32_t> offsets(further.hits);
  for (std::int32_t& offset : offsets) {
    const auto moved = static_cast<std::int32_t>(random() % (2 * kMoved + 1)) - kMoved;
    offset = model.offsets[random() % model.offsets.size()] + moved;
  }
  std::ranges::sort(offsets);
  std::size_t most = 0;
  for (std::size_t begin = 0, end = 0; end < offsets.size(); ++end) {
    // Those that agree with one in the middle of them.
    while (offsets[end] - offsets[begin] > 2 * audio::kOffsetTolerance) ++begin;
    most = std::max(most, end + 1 - begin);
  }
  return static_cast<std::int32_t>(most);
}

}  // namespace

std::vector<audio::Match> growByChance(std::span<const audio::AudioHashHit> hits,
                                       const std::vector<audio::Match>& found, std::size_t copies,
                                       const std::vector<bool>& is_chance, Random& random) {
  const std::vector<audio::HitGroup> models =
      audio::largestGroups(hits, std::min(kModels, is_chance.size()));
  const std::vector<Further> further = drawLargest(models, copies, is_chance, random);
  std::vector<audio::Match> all = found;
  for (const Further& each : further) {
    all.push_back({static_cast<std::int32_t>(is_chance.size()), 0, 0.0,
                   static_cast<std::int32_t>(each.hits), 0});
  }
  // What the engine would examine, the true ones among it or not.
  std::vector<std::size_t> order(all.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::stable_sort(order, std::greater(), [&](std::size_t i) { return all[i].hit_count; });
  order.resize(std::min(order.size(), kExamined));
  std::vector<audio::Match> examined;
  for (const std::size_t i : order) {
    examined.push_back(all[i]);
    if (i < found.size()) continue;
    const Further& each = further[i - found.size()];
    examined.back().matched_num = each.hits > 0 ? agreeingBy(each, models[each.model], random) : 0;
  }
  std::ranges::stable_sort(examined, std::greater(), &audio::Match::matched_num);
  return examined;
}

}  // namespace bench
