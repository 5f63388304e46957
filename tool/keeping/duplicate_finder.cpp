#include "tool/keeping/duplicate_finder.h"

#include <algorithm>
#include <bit>
#include <tuple>

#include "match/database/database_format.h"
#include "tool/keeping/entry_selection.h"

namespace audiomatch {
namespace {

// Measured on real music; docs/database.md has the distributions.
constexpr double kLeastShare = 0.1;
constexpr std::uint32_t kLeastHits = 12;
constexpr double kLeastLength = 2.0 / 3.0;  // of the smaller against the larger
constexpr std::int32_t kTolerance = 1;      // frames

// Entries under a key that is looked at: at least, and times the mean.
constexpr std::uint64_t kMostOfKey = 64;
constexpr std::uint64_t kMostOfMean = 3;

bool isDuplicate(const DuplicateFinder::Agreement& agreement) noexcept {
  return agreement.hits >= kLeastHits && agreement.share() >= kLeastShare &&
         agreement.possible >= kLeastLength * agreement.larger;
}

}  // namespace

DuplicateFinder::DuplicateFinder(std::span<const KeptRecording> recordings, std::size_t first_new,
                                 std::uint64_t entries, std::size_t most_pairs)
    : seen_(recordings.size()),
      first_new_(first_new),
      most_of_key_(std::max(kMostOfKey, kMostOfMean * (entries / audio::kTableSize))),
      most_pairs_(most_pairs) {
  for (std::uint32_t i = 0; i < recordings.size(); ++i) {
    for (std::uint32_t part = 0; part < recordings[i].parts; ++part) {
      audios_.push_back({i, part * audio::kTimeSlots});
    }
  }
}

bool DuplicateFinder::isLookedAt(std::uint32_t key) const noexcept {
  return std::countr_zero(splitMix64(key)) >= static_cast<int>(level_);
}

void DuplicateFinder::see(std::uint32_t key, std::span<const std::uint64_t> entries) {
  if (entries.size() > most_of_key_ || !isLookedAt(key)) return;
  for (const std::uint64_t entry : entries) {
    ++seen_[audios_[audio::entryAudioIndex(entry)].recording];
  }
  addPairs(key, entries);
}

void DuplicateFinder::addPairs(std::uint32_t key, std::span<const std::uint64_t> entries) {
  const auto time = [](const Audio& audio, std::uint64_t entry) {
    return audio.start + audio::entryTime(entry);
  };
  for (std::size_t i = entries.size(); i-- > 0;) {
    const Audio& later = audios_[audio::entryAudioIndex(entries[i])];
    if (later.recording < first_new_) break;
    for (std::size_t j = 0; j < i; ++j) {
      const Audio& earlier = audios_[audio::entryAudioIndex(entries[j])];
      if (earlier.recording >= later.recording) break;
      while (pairs_.size() >= most_pairs_) halve();
      if (!isLookedAt(key)) return;
      const auto distance =
          static_cast<std::int32_t>(time(later, entries[i]) - time(earlier, entries[j]));
      pairs_.push_back({later.recording, earlier.recording, distance, key});
    }
  }
}

/// Looks at half the keys from here on, and forgets the pairs of the others.
void DuplicateFinder::halve() {
  ++level_;
  std::erase_if(pairs_, [this](const Pair& pair) { return !isLookedAt(pair.key); });
  // Keys are picked at random, so about half of every recording's entries go.
  for (std::uint32_t& seen : seen_) seen /= 2;
}

void DuplicateFinder::forEachAgreement(const std::function<void(const Agreement&)>& visit) {
  const auto order = [](const Pair& pair) {
    return std::tuple(pair.later, pair.earlier, pair.distance);
  };
  std::ranges::sort(pairs_, {}, order);
  Agreement best{};
  std::size_t begin = 0;
  for (std::size_t i = 0; i < pairs_.size(); ++i) {
    const Pair& pair = pairs_[i];
    while (pairs_[begin].later != pair.later || pairs_[begin].earlier != pair.earlier ||
           pairs_[begin].distance < pair.distance - 2 * kTolerance) {
      ++begin;
    }
    if (i == 0 || best.later != pair.later || best.earlier != pair.earlier) {
      if (i > 0) visit(best);
      const auto [smaller, larger] = std::minmax({seen_[pair.later], seen_[pair.earlier]});
      best = {pair.later, pair.earlier, 0, std::max(smaller, 1u), larger};
    }
    const auto hits = static_cast<std::uint32_t>(i - begin + 1);
    best.hits = std::max(best.hits, hits);
  }
  if (!pairs_.empty()) visit(best);
}

std::vector<Duplicate> DuplicateFinder::find() {
  std::vector<Duplicate> duplicates;
  std::vector<bool> left_out(seen_.size());
  forEachAgreement([&](const Agreement& agreement) {
    if (!isDuplicate(agreement)) return;
    if (left_out[agreement.later] || left_out[agreement.earlier]) return;
    left_out[agreement.later] = true;
    duplicates.push_back({agreement.later, agreement.earlier, agreement.share()});
  });
  return duplicates;
}

}  // namespace audiomatch
