#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "match/byte_block.h"
#include "match/database_format.h"

namespace audio {

/// The packed entries filed under one hash key. A view; the table owns them.
struct Bucket {
  const unsigned char* entries;  ///< those that the file held
  std::size_t stored;            ///< their number
  std::size_t count;             ///< as claimed; the rest of a cut bucket is 0

  std::uint64_t operator[](std::size_t i) const noexcept {
    return i < stored ? loadLittleEndian<std::uint64_t>(entries + i * kEntryBytes) : 0;
  }
};

/// 2^20 buckets in one block of memory: the bucket records as they stand in
/// the file, behind an offset for each.
///
/// The block is appended to as it is read; records are found on the way, while
/// their bytes are still in the cache. A record that the file hasn't got is an
/// empty bucket. Entries need no alignment.
class LookUpTable {
 public:
  /// Empties the table. False when memory is short.
  bool init() noexcept;

  /// Room for at least `size` bytes behind those appended, or null when memory
  /// is short. `expected`, the bytes that the file has still to give, sizes
  /// the block (0 = unknown).
  unsigned char* room(std::size_t size, std::uint64_t expected) noexcept;

  /// Takes over `size` bytes that were written to the latest `room`.
  void append(std::size_t size) noexcept;

  /// True once every bucket's record lies whole in the appended bytes.
  bool complete() const noexcept;

  /// Ends the filling. False when a bucket claims over 1 GiB of entries and
  /// the file hasn't got them all, or when memory is short.
  bool finish() noexcept;

  /// The bucket of a key; an empty one when the table has none.
  Bucket bucket(std::uint32_t key) const noexcept;

 private:
  bool reserve(std::uint64_t capacity) noexcept;
  void indexRecord(std::uint32_t count) noexcept;

  ByteBlock block_;
  std::size_t size_ = 0;       // bytes appended
  std::uint32_t indexed_ = 0;  // records found so far
  // Where each record found starts, then where the next one does.
  std::unique_ptr<std::uint64_t[]> offsets_;
};

}  // namespace audio
