#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "match/database/byte_block.h"
#include "match/database/database_format.h"

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
/// Records are found while they are read, with their bytes still in the cache.
/// A record that the file hasn't got is an empty bucket. Entries need no
/// alignment. After a reading the table is only looked at; several threads may.
class LookUpTable {
 public:
  /// How a reading ended.
  enum class Reading {
    kWhole,        ///< every record is there
    kCut,          ///< the source ended first; the table is usable
    kBadClaim,     ///< a record claims over 1 GiB that the source hasn't got
    kOutOfMemory,  ///< the table is not usable, nor after a bad claim
  };

  /// Empties the table. False when memory is short.
  bool clear() noexcept;

  /// Replaces the table by the bucket records that `source` has from here on.
  /// Memory: what the source gives, and 8 MiB.
  Reading read(ByteSource& source) noexcept;

  /// The bucket of a key; an empty one when the table has none.
  Bucket bucket(std::uint32_t key) const noexcept;

 private:
  bool readRecords(ByteSource& source) noexcept;
  unsigned char* room(std::size_t size, std::uint64_t expected) noexcept;
  bool reserve(std::uint64_t capacity) noexcept;
  void append(std::size_t size) noexcept;
  void indexRecord(std::uint32_t count) noexcept;
  bool complete() const noexcept;
  Reading finish() noexcept;

  ByteBlock block_;
  std::size_t size_ = 0;       // bytes appended
  std::uint32_t indexed_ = 0;  // records found so far
  // Where each record found starts, then where the next one does.
  std::unique_ptr<std::uint64_t[]> offsets_;
};

}  // namespace audio
