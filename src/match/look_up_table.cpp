#include "match/look_up_table.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace audio {
namespace {

constexpr std::uint64_t kMaxClaim = std::uint64_t{1} << 30;  // bytes
constexpr std::uint64_t kFirstRoom = std::uint64_t{64} << 20;

}  // namespace

bool LookUpTable::init() noexcept {
  block_ = ByteBlock();
  size_ = 0;
  indexed_ = 0;
  if (!offsets_) offsets_.reset(new (std::nothrow) std::uint64_t[kTableSize + 1]);
  if (!offsets_) return false;
  offsets_[0] = 0;
  return true;
}

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

bool LookUpTable::finish() noexcept {
  const std::uint64_t tail = offsets_[indexed_];
  if (indexed_ < kTableSize && tail < size_) {
    // A count cut in its middle keeps the bytes that are there.
    unsigned char count[kCountBytes] = {};
    std::memcpy(count, block_.data() + tail, size_ - static_cast<std::size_t>(tail));
    indexRecord(loadLittleEndian<std::uint32_t>(count));
  }
  if (indexed_ > 0 && offsets_[indexed_] > size_) {
    if (offsets_[indexed_] - offsets_[indexed_ - 1] - kCountBytes > kMaxClaim) return false;
    // Zeros complete an entry cut in its middle.
    unsigned char* padding = room(kEntryBytes, kEntryBytes);
    if (!padding) return false;
    std::memset(padding, 0, kEntryBytes);
    size_ += kEntryBytes;
  }
  block_.shrinkTo(size_);
  return true;
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
