#include "match/database/database_reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "match/database/database_format.h"
#include "match/database/packed_entry.h"

namespace audio {
namespace {

using Kind = DatabaseFault::Kind;

}  // namespace

std::size_t DatabaseReader::Buffered::read(void* bytes, std::size_t size) noexcept {
  auto* out = static_cast<unsigned char*>(bytes);
  std::size_t done = 0;
  while (done < size) {
    if (begin_ == end_) {
      begin_ = 0;
      end_ = source_.read(buffer_.data(), buffer_.size());
      if (end_ == 0) break;
    }
    const std::size_t piece = std::min(size - done, end_ - begin_);
    std::memcpy(out + done, buffer_.data() + begin_, piece);
    begin_ += piece;
    done += piece;
  }
  position_ += done;
  return done;
}

std::uint64_t DatabaseReader::Buffered::remaining() noexcept {
  const std::uint64_t behind = source_.remaining();
  return behind > 0 ? behind + (end_ - begin_) : 0;
}

/// Notes a fault behind which nothing can be read. Returns false.
bool DatabaseReader::stop(DatabaseFault fault, DatabaseState loading) {
  stopped_ = true;
  loading_ = loading;
  if (source_.failed()) {
    loading_ = DatabaseState::kReadFailed;
    fault = {Kind::kReadFailed, position(), 0, 0};
  }
  if (!fault_) fault_ = fault;
  return false;
}

bool DatabaseReader::readNames() {
  std::uint32_t count = 0;
  const bool counted = readCount(source_, count);
  const DatabaseFault too_many{Kind::kNameCount, 0, 0, count};
  if (!counted) return stop(too_many, DatabaseState::kDamaged);
  const std::uint64_t remaining = source_.remaining();
  if (remaining > 0 && remaining < std::uint64_t{count} * (kCountBytes + 1)) {
    return stop(too_many, DatabaseState::kDamaged);
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint64_t offset = position();
    std::string name;
    if (!readName(source_, &name)) {
      return stop({Kind::kName, offset, i, 0}, DatabaseState::kDamaged);
    }
    names_.push_back(std::move(name));
  }
  return readHeader();
}

/// The magic numbers. Of one that is cut short the loader takes the missing
/// bytes for zeros, which the last two of the second are.
bool DatabaseReader::readHeader() {
  const std::uint64_t offset = position();
  std::uint32_t table_size = 0;
  std::uint32_t time_slots = 0;
  readCount(source_, table_size);
  const bool complete = readCount(source_, time_slots);
  const bool right = table_size == kTableSize && time_slots == kTimeSlots;
  if (right && complete) return true;
  return stop({Kind::kHeader, offset, 0, 0}, right ? DatabaseState::kCut : DatabaseState::kDamaged);
}

bool DatabaseReader::nextBucket(std::vector<std::uint64_t>& entries) {
  entries.clear();
  if (stopped_) return false;
  if (next_ == kTableSize) {
    checkEnd();
    return false;
  }
  const std::uint64_t offset = position();
  const std::uint32_t number = next_++;
  std::uint32_t count = 0;
  if (!readCount(source_, count)) {
    return stopWithin({Kind::kBucketCount, offset, number, 0}, count);
  }
  if (readEntries(count, entries) < count) {
    entries.clear();
    return stopWithin({Kind::kBucket, offset, number, count}, count);
  }
  checkAudios(offset + kCountBytes, entries);
  return true;
}

/// The end came within a bucket, of which the loader thinks that it has `count`
/// entries.
bool DatabaseReader::stopWithin(const DatabaseFault& fault, std::uint32_t count) {
  return stop(fault, isCredible(count) ? DatabaseState::kCut : DatabaseState::kDamaged);
}

/// Appends up to `count` entries, in pieces, since the count may be anything.
std::size_t DatabaseReader::readEntries(std::uint32_t count, std::vector<std::uint64_t>& entries) {
  constexpr std::size_t kPiece = std::size_t{1} << 16;
  while (entries.size() < count) {
    const std::size_t size = std::min<std::size_t>(count - entries.size(), kPiece);
    const std::size_t held = entries.size();
    entries.resize(held + size);
    const std::size_t came = source_.read(&entries[held], size * kEntryBytes) / kEntryBytes;
    entries.resize(held + came);
    if (came < size) break;
  }
  return entries.size();
}

void DatabaseReader::checkAudios(std::uint64_t offset, const std::vector<std::uint64_t>& entries) {
  if (fault_) return;
  const auto unknown = std::ranges::find_if(
      entries, [&](std::uint64_t entry) { return entryAudioIndex(entry) >= names_.size(); });
  if (unknown == entries.end()) return;
  const auto place = static_cast<std::uint64_t>(unknown - entries.begin());
  fault_ = {Kind::kAudio, offset + place * kEntryBytes, next_ - 1, entryAudioIndex(*unknown)};
}

void DatabaseReader::checkEnd() {
  const std::uint64_t offset = position();
  unsigned char byte = 0;
  const bool more = source_.read(&byte, 1) > 0;
  stopped_ = true;
  if (!fault_ && more) fault_ = {Kind::kBytesLeft, offset, 0, 0};
}

}  // namespace audio
