#include "match/database/look_up_table.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace audio {
namespace {

constexpr std::uint64_t kFirstRoom = std::uint64_t{64} << 20;

}  // namespace

bool LookUpTable::clear() noexcept {
  block_ = ByteBlock();
  size_ = 0;
  indexed_ = 0;
  if (!offsets_) offsets_.reset(new (std::nothrow) std::uint64_t[kTableSize + 1]);
  if (!offsets_) return false;
  offsets_[0] = 0;
  return true;
}

LookUpTable::Reading LookUpTable::read(ByteSource& source) noexcept {
  if (!clear() || !readRecords(source)) return Reading::kOutOfMemory;
  return finish();
}

/// Reads in pieces that fit the second-level cache. False when memory is short.
bool LookUpTable::readRecords(ByteSource& source) noexcept {
  constexpr std::uint64_t kPiece = std::uint64_t{256} << 10;
  std::uint64_t expected = source.remaining();
  bool known = expected > 0;
  while (!complete()) {
    // Behind the end of a source of known size only a look whether it has
    // grown, for which the block needn't grow.
    const std::uint64_t piece =
        known ? std::clamp<std::uint64_t>(expected, kEntryBytes, kPiece) : kPiece;
    unsigned char* bytes = room(static_cast<std::size_t>(piece), expected);
    if (!bytes) return false;
    const std::size_t size = source.read(bytes, static_cast<std::size_t>(piece));
    if (size == 0) break;
    append(size);
    known = known && size <= expected;
    expected -= known ? size : expected;
  }
  return true;
}

/// Room for at least `size` bytes behind those appended, or null when memory
/// is short. `expected`, the bytes that the source has still to give, sizes the
/// block (0 = unknown).
unsigned char* LookUpTable::room(std::size_t size, std::uint64_t expected) noexcept {
  if (block_.capacity() - size_ >= size) return block_.data() + size_;
  // One block of the file's size, or, where that isn't known or is more than
  // there is memory for (a sparse file promises anything), one that doubles.
  const std::uint64_t least = std::uint64_t{size_} + size;
  if (expected > 0 && reserve(std::max(size_ + expected + kEntryBytes, least))) {
    block_.adviseLargePages();
  } else if (!reserve(std::max({2 * std::uint64_t{size_}, kFirstRoom, least}))) {
    return nullptr;
  }
  return block_.data() + size_;
}

bool LookUpTable::reserve(std::uint64_t capacity) noexcept {
  return capacity <= PTRDIFF_MAX && block_.reserve(static_cast<std::size_t>(capacity));
}

/// Takes over `size` bytes that were written to the latest `room`, and finds
/// the records in them.
void LookUpTable::append(std::size_t size) noexcept {
  size_ += size;
  while (indexed_ < kTableSize && offsets_[indexed_] + kCountBytes <= size_) {
    indexRecord(loadLittleEndian<std::uint32_t>(block_.data() + offsets_[indexed_]));
  }
}

void LookUpTable::indexRecord(std::uint32_t count) noexcept {
  offsets_[indexed_ + 1] = offsets_[indexed_] + kCountBytes + std::uint64_t{kEntryBytes} * count;
  ++indexed_;
}

bool LookUpTable::complete() const noexcept {
  return indexed_ == kTableSize && offsets_[indexed_] <= size_;
}

/// Settles what the end of the source left unfinished.
LookUpTable::Reading LookUpTable::finish() noexcept {
  if (complete()) {
    block_.shrinkTo(size_);
    return Reading::kWhole;
  }
  const std::uint64_t tail = offsets_[indexed_];
  if (indexed_ < kTableSize && tail < size_) {
    // A count cut in its middle keeps the bytes that are there.
    unsigned char count[kCountBytes] = {};
    std::memcpy(count, block_.data() + tail, size_ - static_cast<std::size_t>(tail));
    indexRecord(loadLittleEndian<std::uint32_t>(count));
  }
  if (indexed_ > 0 && offsets_[indexed_] > size_) {
    const std::uint64_t claim = offsets_[indexed_] - offsets_[indexed_ - 1] - kCountBytes;
    if (!isCredible(claim / kEntryBytes)) return Reading::kBadClaim;
    // Zeros complete an entry cut in its middle.
    unsigned char* padding = room(kEntryBytes, kEntryBytes);
    if (!padding) return Reading::kOutOfMemory;
    std::memset(padding, 0, kEntryBytes);
    size_ += kEntryBytes;
  }
  block_.shrinkTo(size_);
  return Reading::kCut;
}

Bucket LookUpTable::bucket(std::uint32_t key) const noexcept {
  if (key >= indexed_) return {nullptr, 0, 0};
  const std::uint64_t begin = offsets_[key] + kCountBytes;
  const std::uint64_t count = (offsets_[key + 1] - begin) / kEntryBytes;
  const std::uint64_t stored = begin < size_ ? std::min(count, (size_ - begin) / kEntryBytes) : 0;
  const unsigned char* entries = stored > 0 ? block_.data() + begin : nullptr;
  return {entries, static_cast<std::size_t>(stored), static_cast<std::size_t>(count)};
}

}  // namespace audio
