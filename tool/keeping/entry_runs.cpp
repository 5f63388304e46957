#include "tool/keeping/entry_runs.h"

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "match/database/packed_entry.h"
#include "tool/base/errors.h"
#include "tool/keeping/temporary_file.h"

namespace audiomatch {
namespace {

// Entries of a run that are read at a time: a page of memory at least.
constexpr std::size_t kLeastReadAhead = std::size_t{1} << 9;
constexpr std::size_t kMostReadAhead = std::size_t{1} << 13;

// An entry with its key, so that numbers sort as a database is ordered: the
// key, then the audio's number, then the time.
constexpr unsigned kAudioBits = 30;
constexpr unsigned kKeyShift = kAudioBits + audio::kEntryTimeBits;
constexpr std::uint64_t kPackedEntry = (std::uint64_t{1} << kKeyShift) - 1;

std::uint64_t keyed(std::uint32_t audio, const audio::AudioFeature& feature) noexcept {
  return std::uint64_t{feature.hashKey} << kKeyShift | audio::packEntry(audio, feature.startTime);
}

}  // namespace

EntryRuns::~EntryRuns() {
  if (descriptor_ >= 0) close(descriptor_);
}

std::uint32_t EntryRuns::add(std::span<const audio::AudioFeature> entries) {
  if (audio_count_ >> kAudioBits != 0) fail("too many recordings at once; add them in portions");
  makeRoom(entries.size());
  for (const audio::AudioFeature& feature : entries) held_.push_back(keyed(audio_count_, feature));
  if (held_.size() >= most_held_) putAside();
  return audio_count_++;
}

/// What is held doubles as it grows, but never beyond what may be held.
void EntryRuns::makeRoom(std::size_t entries) {
  if (!held_.empty() && entries > most_held_ - held_.size()) putAside();
  const std::size_t needed = held_.size() + entries;
  if (needed <= held_.capacity()) return;
  held_.reserve(std::max(needed, std::min(2 * held_.capacity(), most_held_)));
}

void EntryRuns::putAside() {
  if (descriptor_ < 0) {
    const TemporaryFile file = makeTemporaryFile(database_);
    descriptor_ = file.descriptor;
    unlink(file.path.c_str());
  }
  std::ranges::sort(held_);
  const auto* bytes = reinterpret_cast<const char*>(held_.data());
  const std::size_t size = held_.size() * sizeof held_[0];
  for (std::size_t done = 0; done < size;) {
    const ssize_t written = write(descriptor_, bytes + done, size - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(std::strerror(errno));
    done += static_cast<std::size_t>(written);
  }
  ends_.push_back(entryCount());
  held_.clear();
}

void EntryRuns::read(std::uint64_t position, std::span<std::uint64_t> entries) const {
  auto* bytes = reinterpret_cast<char*>(entries.data());
  for (std::size_t done = 0; done < entries.size_bytes();) {
    const auto place = static_cast<off_t>(position * sizeof entries[0] + done);
    const ssize_t came = pread(descriptor_, bytes + done, entries.size_bytes() - done, place);
    if (came < 0 && errno == EINTR) continue;
    if (came <= 0) fail(came < 0 ? std::strerror(errno) : "ends early");
    done += static_cast<std::size_t>(came);
  }
}

void EntryRuns::fail(const char* what) const {
  throw FileError(database_, fmt::format("what is new can't be kept beside it: {}", what));
}

EntryRuns::Pass::Pass(EntryRuns& runs) : runs_(runs) {
  std::ranges::sort(runs.held_);
  std::uint64_t begin = 0;
  for (const std::uint64_t end : runs.ends_) {
    open_.push_back({{}, begin, end, {}});
    begin = end;
  }
  open_.push_back({runs.held_, 0, 0, {}});
}

void EntryRuns::Pass::appendNext(std::vector<std::uint64_t>& entries) {
  for (Run& run : open_) {
    while (!run.held.empty() || refill(run)) {
      if (run.held.front() >> kKeyShift != key_) break;
      entries.push_back(run.held.front() & kPackedEntry);
      run.held = run.held.subspan(1);
    }
  }
  ++key_;
}

/// Entries for each run, so that all of them together take a quarter of what may
/// be held.
std::size_t EntryRuns::Pass::readAhead() const noexcept {
  return std::clamp(runs_.most_held_ / 4 / open_.size(), kLeastReadAhead, kMostReadAhead);
}

/// False when nothing is left of a run.
bool EntryRuns::Pass::refill(Run& run) {
  if (run.begin == run.end) return false;
  run.buffer.resize(
      static_cast<std::size_t>(std::min<std::uint64_t>(run.end - run.begin, readAhead())));
  runs_.read(run.begin, run.buffer);
  run.begin += run.buffer.size();
  run.held = run.buffer;
  return true;
}

}  // namespace audiomatch
