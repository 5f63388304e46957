#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "match/database/database_format.h"
#include "match/database/packed_entry.h"

namespace audiofuzz {

/// A database file written from a few bytes: the file itself is 4 MiB of
/// mostly zeros, in which a fuzzer loses its way.
///
/// Input: u8 format (bit 0 the magic numbers are given: two u32; bit 1 the name
/// count is given: u32; bits 2 and 4 together all 2^20 buckets, which takes long,
/// instead of those up to the last one listed; bit 3 the file's end is cut off, by
/// the u16 that follows), u8 names, per name: u8 length (255: u32 claimed and u8
/// true length), its bytes. Then buckets until the input ends: u8 (bits 0-3
/// entries, bits 4-5 how many empty buckets lie before: none, u8, those up to the
/// next likely key, or u16, bit 6 a u32 claims another count, bit 7 entries are u64
/// instead of u8 index and u16 time).
class CompactDatabase {
 public:
  /// @param likelyKeys  those that will be looked up, ascending
  CompactDatabase(FuzzInput& input, std::span<const std::uint32_t> likelyKeys)
      : likely_keys_(likelyKeys) {
    const std::uint8_t format = input.u8();
    const bool magic_given = (format & 1) != 0, count_given = (format & 2) != 0;
    const std::uint32_t table_size = magic_given ? input.u32() : audio::kTableSize;
    const std::uint32_t time_slots = magic_given ? input.u32() : audio::kTimeSlots;
    const std::uint32_t claimed_names = count_given ? input.u32() : 0;
    const std::size_t cut = (format & 8) != 0 ? input.u16() : 0;
    const std::uint8_t name_count = input.u8();
    put(count_given ? claimed_names : name_count);
    honest = !magic_given && !count_given && cut == 0;
    for (int i = 0; i < name_count; ++i) putName(input);
    put(table_size);
    put(time_slots);
    while (!input.empty() && next_key_ < audio::kTableSize) putBucket(input);
    if ((format & 20) == 20) putEmpty(audio::kTableSize - next_key_);
    file.resize(file.size() - std::min(cut, file.size()));
  }

  std::vector<std::uint8_t> file;
  /// False when counts, magic numbers or the end are not what they should be.
  bool honest;
  std::vector<std::string> names;
  /// Keys of the buckets listed, ascending, with their entries.
  std::vector<std::pair<std::uint32_t, std::vector<std::uint64_t>>> buckets;

 private:
  template <typename Number>
  void put(Number number) {
    file.resize(file.size() + sizeof number);
    audio::storeLittleEndian(number, file.data() + file.size() - sizeof number);
  }

  void putName(FuzzInput& input) {
    std::uint32_t claimed = input.u8();
    std::size_t length = claimed;
    if (claimed == 255) {
      claimed = input.u32();
      length = input.u8();
      honest = honest && claimed == length;
    }
    const auto bytes = input.bytes(length);
    put(length == claimed ? static_cast<std::uint32_t>(bytes.size()) : claimed);
    file.insert(file.end(), bytes.begin(), bytes.end());
    file.push_back(0);
    const std::string name(bytes.begin(), bytes.end());
    names.emplace_back(name.c_str());  // up to a zero in it
  }

  void putBucket(FuzzInput& input) {
    const std::uint8_t head = input.u8();
    const int gap = head >> 4 & 3;
    putEmpty(gap == 0 ? 0 : gap == 1 ? input.u8() : gap == 2 ? gapToLikelyKey() : input.u16());
    if (next_key_ == audio::kTableSize) return;
    std::uint32_t claimed = head & 15;
    if ((head & 64) != 0) claimed = input.u32();
    honest = honest && claimed == (head & 15U);
    put(claimed);
    std::vector<std::uint64_t> entries(head & 15);
    for (std::uint64_t& entry : entries) {
      const std::uint32_t index = (head & 128) != 0 ? 0 : input.u8();
      entry = (head & 128) != 0 ? input.u64() : audio::packEntry(index, input.u16());
      put(entry);
    }
    buckets.emplace_back(next_key_++, std::move(entries));
  }

  std::uint32_t gapToLikelyKey() const {
    const auto next = std::ranges::lower_bound(likely_keys_, next_key_);
    return next == likely_keys_.end() ? 0 : *next - next_key_;
  }

  void putEmpty(std::uint32_t count) {
    count = std::min(count, audio::kTableSize - next_key_);
    file.resize(file.size() + std::size_t{count} * audio::kCountBytes);
    next_key_ += count;
  }

  std::span<const std::uint32_t> likely_keys_;
  std::uint32_t next_key_ = 0;
};

}  // namespace audiofuzz
