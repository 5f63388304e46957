#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "feature/audio_feature.h"

namespace audiomatch {

/// Entries of new audios, to be had in the order of their keys. However many
/// there are, memory is bounded: what is beyond is sorted and put aside in a
/// file without a name, in the database's folder.
///
/// Audios are numbered as they come; what index each gets is for later.
class EntryRuns {
 public:
  /// Entries held before they are put aside: 128 MiB.
  static constexpr std::size_t kMostHeld = std::size_t{1} << 24;

  /// @param database   beside which entries are put aside
  /// @param most_held  entries held in memory; more only where an audio has more
  explicit EntryRuns(const std::filesystem::path& database, std::size_t most_held = kMostHeld)
      : database_(database), most_held_(most_held) {}
  EntryRuns(const EntryRuns&) = delete;
  EntryRuns& operator=(const EntryRuns&) = delete;
  ~EntryRuns();

  /// Takes an audio's entries: keys below 2^20, times below 2^14. Returns its
  /// number. Throws FileError when there is no room for them, and for the
  /// 2^30th audio.
  std::uint32_t add(std::span<const audio::AudioFeature> entries);

  /// Number of audios.
  std::size_t audioCount() const noexcept { return audio_count_; }
  /// Number of entries in memory.
  std::size_t heldCount() const noexcept { return held_.size(); }
  /// Number of entries.
  std::uint64_t entryCount() const noexcept {
    return held_.size() + (ends_.empty() ? 0 : ends_.back());
  }

  /// Goes over all entries from the lowest key to the highest; nothing may be
  /// added meanwhile, nor afterwards. One pass at a time.
  class Pass {
   public:
    explicit Pass(EntryRuns& runs);

    /// Appends the entries of the next key, from 0 on, packed with their
    /// audios' numbers, in no particular order.
    void appendNext(std::vector<std::uint64_t>& entries);

   private:
    /// A stretch of sorted entries: what is at hand, and what is still aside.
    struct Run {
      std::span<const std::uint64_t> held;
      std::uint64_t begin;
      std::uint64_t end;
      std::vector<std::uint64_t> buffer;
    };

    bool refill(Run& run);
    std::size_t readAhead() const noexcept;

    EntryRuns& runs_;
    std::vector<Run> open_;
    std::uint32_t key_ = 0;
  };

 private:
  void makeRoom(std::size_t entries);
  void putAside();
  void read(std::uint64_t position, std::span<std::uint64_t> entries) const;
  [[noreturn]] void fail(const char* what) const;

  std::filesystem::path database_;
  std::size_t most_held_;
  std::vector<std::uint64_t> held_;
  std::vector<std::uint64_t> ends_;  // of the runs put aside, in entries
  int descriptor_ = -1;
  std::uint32_t audio_count_ = 0;
};

}  // namespace audiomatch
