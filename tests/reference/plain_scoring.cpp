#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <map>

#include "plain_match.h"

namespace plain {

namespace {

/// The farthest that two offsets which agree lie apart, in frames.
constexpr std::uint32_t kTolerance = 4;

/// The most audios that are looked at.
constexpr std::size_t kMostCandidates = 20;

/// How well a group of hits fits one offset.
struct Fit {
  /// Hits that agree with the offset.
  std::uint32_t count;
  /// The sum of their distances and of the tolerance for every other hit, in frames.
  std::uint64_t error;
};

/// An audio that was looked at.
struct Candidate {
  std::int32_t audio_index = -1;
  /// Its hits found to agree.
  std::uint32_t agreeing = 0;
};

}  // namespace

// Frames between two offsets on the ring of all 32-bit numbers, the shorter way round.
static std::uint32_t distanceBetween(std::int32_t a, std::int32_t b) {
  const std::uint32_t one_way = std::uint32_t(a) - std::uint32_t(b);
  const std::uint32_t other_way = std::uint32_t(b) - std::uint32_t(a);
  return std::min(one_way, other_way);
}

// How well all hits fit the offset of one of them.
static Fit fitTo(std::int32_t pivot, const std::vector<Hit>& hits) {
  Fit fit{0, 0};
  for (const Hit& hit : hits) {
    const std::uint32_t distance = distanceBetween(hit.time_offset, pivot);
    if (distance <= kTolerance) fit.count += 1;
    fit.error += std::min(distance, kTolerance);
  }
  return fit;
}

// How many draws it takes for one of them to hit with probability 0.999, if each does so with
// probability `share`: ln 0.001 / ln(1 - share), rounded up. 0 if the share is as good as 1, `most`
// if the number doesn't fit a signed 32-bit one.
static std::uint32_t drawsNeeded(float share, std::uint32_t most) {
  const float rest = 1.0f - share;
  const float nothing = std::bit_cast<float>(0x2B8CBCCCu);     // 1e-12
  const float ln_failure = std::bit_cast<float>(0xC0DD0CB3u);  // ln 0.001, as -6.9078002
  if (rest <= nothing) return 0;
  const double draws = std::ceil(double(ln_failure) / std::log(double(rest)));
  if (draws >= 0.0 && draws < 2147483648.0) return std::uint32_t(draws);
  return most;
}

// Each draw picks a hit, whose offset is tried. A draw becomes the best one if it has at least as
// many agreeing hits and a smaller error; more agreeing hits also set anew how many draws there
// are to be. The search ends when all hits agree or the draws exceed their number or the cap.
std::uint32_t countConsistentHits(const std::vector<Hit>& hits, std::uint32_t maxIterations) {
  const std::uint32_t n = std::uint32_t(hits.size());
  Fit best{0, 2147483647};
  std::uint32_t limit = maxIterations;
  for (std::uint32_t draws = 1;; ++draws) {
    const std::uint32_t drawn = std::uint32_t(lrand48()) % n;
    const Fit fit = fitTo(hits[drawn].time_offset, hits);
    if (fit.count >= best.count && fit.error < best.error) {
      const float share = float(fit.count) / float(n);
      if (fit.count > best.count && share > FLT_MIN) limit = drawsNeeded(share, maxIterations);
      best = fit;
    }
    if (best.count == n || draws > limit || draws > maxIterations) return best.count;
  }
}

// The candidates: the audios with the most hits, of equal ones the lower index first. Their order
// is that in which they draw.
static std::vector<Candidate> findCandidates(const std::vector<Hit>& hits) {
  std::map<std::int32_t, std::vector<Hit>> hits_of_audio;
  for (const Hit& hit : hits) {
    hits_of_audio[hit.audio_index].push_back(hit);
  }
  std::vector<Candidate> candidates;
  while (!hits_of_audio.empty() && candidates.size() < kMostCandidates) {
    const auto largest = std::ranges::max_element(
        hits_of_audio, {}, [](const auto& audio) { return audio.second.size(); });
    std::vector<Hit> group = largest->second;
    std::ranges::sort(group, {}, &Hit::time_offset);
    candidates.push_back({largest->first, countConsistentHits(group)});
    hits_of_audio.erase(largest);
  }
  return candidates;
}

// The candidate with the most agreeing hits wins, of equal ones the earlier. The discrimination is
// (best - second) / (best + second) of the two largest counts, the second being 0 if there is none.
// No count is 0, since the drawn hit agrees with itself.
Score scoreHits(const std::vector<Hit>& hits, Log& log) {
  std::vector<Candidate> candidates = findCandidates(hits);
  const auto winner = std::ranges::max_element(candidates, {}, &Candidate::agreeing);
  const Candidate best = *winner;
  candidates.erase(winner);
  std::uint32_t second = 0;
  for (const Candidate& other : candidates) {
    second = std::max(second, other.agreeing);
  }
  Score score;
  score.audio_index = best.audio_index;
  score.discrimination = float(best.agreeing - second) / float(best.agreeing + second);
  say(log, "most matched feature num is %d.", int(best.agreeing));
  say(log, "second most matched feature num is %d.", int(second));
  say(log, "most matched audio discrimination is %f.", double(score.discrimination));
  return score;
}

}  // namespace plain
