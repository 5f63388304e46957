#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "tool/keeping/kept_recording.h"

namespace audiomatch {

/// A recording that is another one's audio once more.
struct Duplicate {
  std::size_t recording;
  std::size_t of;  ///< an earlier one, which is none itself
  double share;    ///< of the entries that the smaller of the two has, those that agree
};

/// Finds recordings of the same audio while a database is written: pairs of
/// entries under one key, of a new recording and an earlier one, whose
/// distances in time agree.
///
/// Memory is bounded: when there are too many pairs, only those of half the
/// keys are kept and looked at, and so on. With too few pairs left of a
/// recording, its duplicates aren't found. Keys that very many entries have are
/// passed over: they tell least and cost most.
class DuplicateFinder {
 public:
  static constexpr std::size_t kPairBytes = 16;
  /// Pairs kept in memory: 256 MiB.
  static constexpr std::size_t kMostPairs = std::size_t{1} << 24;

  /// @param recordings  of the database, in its order
  /// @param first_new   those from here on are compared with all before them
  /// @param entries     of the whole database, about
  DuplicateFinder(std::span<const KeptRecording> recordings, std::size_t first_new,
                  std::uint64_t entries, std::size_t most_pairs = kMostPairs);

  /// Takes a bucket.
  void see(std::uint32_t key, std::span<const std::uint64_t> entries);

  /// The duplicates, in the order of the recordings; after the last bucket.
  std::vector<Duplicate> find();

  /// How two recordings agree, for those who measure.
  struct Agreement {
    std::uint32_t later;
    std::uint32_t earlier;
    std::uint32_t hits;      ///< pairs whose distances are the same, give or take a frame
    std::uint32_t possible;  ///< entries of the smaller of the two, under the keys looked at
    std::uint32_t larger;    ///< the same of the other

    double share() const noexcept { return static_cast<double>(hits) / possible; }
  };
  /// Shows the best agreement of each pair of recordings, one after another, as
  /// nearly all pairs agree a little; after the last bucket.
  void forEachAgreement(const std::function<void(const Agreement&)>& visit);

 private:
  /// Entries of two recordings under one key.
  struct Pair {
    std::uint32_t later;
    std::uint32_t earlier;
    std::int32_t distance;  ///< in frames
    std::uint32_t key;
  };
  static_assert(sizeof(Pair) == kPairBytes);
  struct Audio {
    std::uint32_t recording;
    std::uint32_t start;  ///< in frames of its recording
  };

  bool isLookedAt(std::uint32_t key) const noexcept;
  void addPairs(std::uint32_t key, std::span<const std::uint64_t> entries);
  void halve();

  std::vector<Audio> audios_;
  std::vector<std::uint32_t> seen_;  // entries under the keys looked at, by recording
  std::size_t first_new_;
  std::size_t most_of_key_;
  std::size_t most_pairs_;
  unsigned level_ = 0;  // one in 2^level keys is looked at
  std::vector<Pair> pairs_;
};

}  // namespace audiomatch
