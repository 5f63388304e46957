#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

#include "tool/base/errors.h"

namespace audiomatch {

/// What a store is used for. One use may fail while others work: a full disk is still read.
enum class StoreUse : std::size_t { kLooking, kReferences, kChannels };

/// Whether a store works, by what came of its uses of late. Any thread.
class StoreHealth {
 public:
  /// A use failed. The first failure of several is said.
  void failed(StoreUse use, const FileError& error) noexcept;
  /// A use did what it was to do: it works again, which is said.
  void worked(StoreUse use) noexcept;

  /// False from a use's failure until it works again; a failed change is told for ten
  /// minutes at most, as nobody may try another.
  bool isGood() const noexcept;

  /// Failures so far.
  std::uint64_t failures() const noexcept;

 private:
  using Clock = std::chrono::steady_clock;

  mutable std::mutex mutex_;
  std::uint64_t failures_ = 0;
  std::array<std::optional<Clock::time_point>, 3> failed_{};  // by use: when, while it doesn't work
};

}  // namespace audiomatch
