#include "tool/keeping/background.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

#include "match/database/database_format.h"
#include "match/database/packed_entry.h"

namespace audiomatch {
namespace {

constexpr std::uint32_t kStretch = 16;  // frames: half a second
constexpr std::uint32_t kPlaces = audio::kTimeSlots / kStretch;
constexpr std::uint64_t kOne = std::uint64_t{1} << 32;

/// A lot that is the same on every machine: SplitMix64's finaliser (Steele, Lea and Flood, 2014).
constexpr std::uint64_t lot(std::uint64_t of) noexcept {
  of += 0x9e3779b97f4a7c15;
  of = (of ^ of >> 30) * 0xbf58476d1ce4e5b9;
  of = (of ^ of >> 27) * 0x94d049bb133111eb;
  return of ^ of >> 31;
}

}  // namespace

std::size_t backgroundFor(std::size_t audios, BackgroundWish wish) noexcept {
  if (audios == 0 || audios >= kMostWithBackground) return 0;
  return std::min(wish.value_or(std::max<std::size_t>(2 * audios, 4)),
                  kMostWithBackground - audios);
}

std::string withBackground(std::size_t audios) {
  return audios > 0 ? fmt::format(", {} audios of background", audios) : std::string();
}

BackgroundEntries::BackgroundEntries(std::unique_ptr<DatabaseFile> file, std::size_t audios,
                                     std::size_t count, std::uint64_t frames)
    : file_(std::move(file)),
      audios_(audios),
      count_(count),
      copies_(audio::kTimeSlots * kOne / 2 / frames) {}

void BackgroundEntries::appendNext(std::vector<std::uint64_t>& bucket) {
  file_->nextBucket(entries_);
  // Whatever a database by others repeats is copied once.
  std::ranges::sort(entries_);
  entries_.erase(std::unique(entries_.begin(), entries_.end()), entries_.end());
  const auto first = static_cast<std::ptrdiff_t>(bucket.size());
  for (std::size_t number = 0; number < count_; ++number) {
    for (const std::uint64_t entry : entries_) appendCopies(entry, number, bucket);
  }
  std::sort(bucket.begin() + first, bucket.end());
  bucket.erase(std::unique(bucket.begin() + first, bucket.end()), bucket.end());
}

/// Puts an entry wherever one audio of the background has its stretch.
void BackgroundEntries::appendCopies(std::uint64_t entry, std::size_t number,
                                     std::vector<std::uint64_t>& bucket) const {
  const std::uint64_t stretch = entry / kStretch;  // of its audio
  const auto within = static_cast<std::uint32_t>(entry % kStretch);
  std::uint64_t drawn = lot(lot(stretch) + number);
  for (std::uint64_t left = copies_; left > 0; left -= std::min(left, kOne)) {
    drawn = lot(drawn);
    // The last one is there as often as its share says.
    if (left < kOne && drawn >> 32 >= left) continue;
    const auto place = static_cast<std::uint32_t>(drawn % kPlaces);
    const std::uint32_t time = place * kStretch + (kStretch - 1 - within);
    bucket.push_back(audio::packEntry(static_cast<std::uint32_t>(audios_ + number), time));
  }
}

}  // namespace audiomatch
