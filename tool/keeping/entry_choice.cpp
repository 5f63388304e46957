#include "tool/keeping/entry_choice.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>

#include "feature/land_mark.h"
#include "tool/keeping/entry_selection.h"
#include "tool/keeping/entry_worth.h"

namespace audiomatch {
namespace {

constexpr std::uint32_t kFramesOfSecond = 32;  // of 32 ms, so a second and a little
constexpr std::uint32_t kBands = 8;            // of 500 Hz
constexpr std::uint32_t kKeysOfBand = audio::kHashKeys / kBands;
// Of the room, among bands.
constexpr double kShareOfBands = 0.5;
// How the room of an audio's entries under one key grows with their number.
constexpr double kOfRepeat = 0.5;
// Of a mean entry's room: what nobody else has takes space, too.
constexpr double kLeastRoom = 0.25;
// Of a mean entry's room, and of a natural logarithm.
constexpr double kUnit = 1024.0;

std::int64_t inUnits(double value) noexcept { return std::llround(kUnit * value); }

struct Candidate {
  audio::AudioFeature feature;
  std::int64_t worth;
  std::int64_t room;
  bool is_taken;

  std::uint32_t second() const noexcept { return feature.startTime / kFramesOfSecond; }
  std::uint32_t band() const noexcept { return feature.hashKey / kKeysOfBand; }
};

/// Appends the candidates of one key, the likeliest to survive first.
void appendKey(std::vector<Candidate>& candidates, std::span<const RatedFeature> of_key) {
  std::vector<std::pair<std::int64_t, audio::AudioFeature>> survivors;
  survivors.reserve(of_key.size());
  for (const RatedFeature& each : of_key) {
    survivors.emplace_back(inUnits(logSurvival(each)), each.feature);
  }
  std::ranges::stable_sort(survivors, std::greater{}, [](const auto& each) { return each.first; });
  const double chance = std::max(logChance(of_key.front().feature.hashKey), std::log(kLeastRoom));
  for (std::size_t i = 0; i < survivors.size(); ++i) {
    const double cost = chance + kOfRepeat * std::log(1.0 + static_cast<double>(i));
    candidates.push_back(
        {survivors[i].second, survivors[i].first - inUnits(cost), inUnits(std::exp(cost)), false});
  }
}

std::vector<Candidate> candidatesOf(const std::vector<RatedFeature>& rated) {
  std::vector<Candidate> candidates;
  candidates.reserve(rated.size());
  for (auto begin = rated.begin(); begin != rated.end();) {
    const auto end = std::find_if(begin, rated.end(), [&](const RatedFeature& each) {
      return each.feature.hashKey != begin->feature.hashKey;
    });
    appendKey(candidates, std::span(begin, end));
    begin = end;
  }
  return candidates;
}

/// Shares room out among places.
class Sharing {
 public:
  /// @param candidates  best first
  Sharing(std::vector<Candidate>& candidates, std::uint32_t seconds)
      : candidates_(candidates), seconds_(seconds) {}

  /// Takes of each place the best, all places the same, as far as they have
  /// it: until `room` is used, what was taken before counting.
  ///
  /// @param bands  places of a second: its bands, or 1 for the whole of it
  void take(std::int64_t room, std::uint32_t bands) {
    std::vector<std::int64_t> used(std::size_t{seconds_} * bands);
    const auto used_of = [&](const Candidate& each) -> std::int64_t& {
      return used[std::size_t{each.second()} * bands + each.band() * bands / kBands];
    };
    for (const Candidate& each : candidates_) {
      if (each.is_taken) used_of(each) += each.room;
    }
    std::vector<std::pair<std::int64_t, Candidate*>> order;
    order.reserve(candidates_.size());
    for (Candidate& each : candidates_) {
      if (!each.is_taken) order.emplace_back(used_of(each) += each.room, &each);
    }
    // Of equals, the better: they stand in their order in memory.
    std::ranges::sort(order);
    for (const auto& [depth, candidate] : order) {
      if (used_ + candidate->room > room) break;
      used_ += candidate->room;
      candidate->is_taken = true;
    }
  }

 private:
  std::vector<Candidate>& candidates_;
  std::uint32_t seconds_;
  std::int64_t used_ = 0;
};

std::vector<audio::AudioFeature> featuresOf(const std::vector<RatedFeature>& rated) {
  std::vector<audio::AudioFeature> features;
  features.reserve(rated.size());
  for (const RatedFeature& each : rated) features.push_back(each.feature);
  return features;
}

std::vector<audio::AudioFeature> taken(const std::vector<Candidate>& candidates) {
  std::vector<audio::AudioFeature> entries;
  for (const Candidate& each : candidates) {
    if (each.is_taken) entries.push_back(each.feature);
  }
  audio::sortUnique(entries);
  return entries;
}

}  // namespace

std::vector<audio::AudioFeature> chooseEntries(const std::vector<RatedFeature>& rated,
                                               std::size_t room) {
  if (room == kEveryEntry) return featuresOf(rated);
  std::vector<Candidate> candidates = candidatesOf(rated);
  std::uint32_t seconds = 0;
  std::int64_t all = 0;
  for (const Candidate& each : candidates) {
    seconds = std::max(seconds, each.second() + 1);
    all += each.room;
  }
  const double units = kUnit * static_cast<double>(room);
  if (static_cast<double>(all) <= units) return featuresOf(rated);
  std::ranges::stable_sort(candidates, std::greater{}, &Candidate::worth);
  Sharing sharing(candidates, seconds);
  sharing.take(std::llround(kShareOfBands * units), kBands);
  sharing.take(std::llround(units), 1);
  return taken(candidates);
}

}  // namespace audiomatch
