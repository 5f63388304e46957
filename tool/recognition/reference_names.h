#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace audiomatch {

/// The names of audios by index.
///
/// A recording beyond 16,384 frames is several audios of one name, next to each
/// other; here they are one recording again, with one time.
class ReferenceNames {
 public:
  ReferenceNames() = default;
  /// @param names    by index; empty for an audio that isn't there
  /// @param entries  of all of them
  ReferenceNames(std::vector<std::string> names, std::uint64_t entries);

  /// One more than the highest index.
  std::size_t audioCount() const noexcept { return names_.size(); }
  /// Recordings that are there.
  std::size_t recordingCount() const noexcept { return recording_count_; }
  /// Entries that they have together.
  std::uint64_t entryCount() const noexcept { return entry_count_; }

  /// Whether every index up to the highest has its audio: none is being added or was removed.
  bool areAllThere() const noexcept { return are_all_there_; }

  /// Whether there is a recording of a name.
  bool has(const std::string& name) const noexcept;

  /// The name of an audio; empty for one that isn't there.
  const std::string& name(std::int32_t audioIndex) const noexcept;

  /// The first audio of the recording that an audio belongs to; -1 for one that
  /// isn't there. It stands for the recording.
  std::int32_t recording(std::int32_t audioIndex) const noexcept {
    const auto index = static_cast<std::size_t>(audioIndex);
    return audioIndex >= 0 && index < recordings_.size() ? recordings_[index] : -1;
  }

  /// The frame of its recording at which an audio starts.
  std::int32_t startFrame(std::int32_t audioIndex) const noexcept;

 private:
  bool has(std::int32_t audioIndex) const noexcept;

  std::vector<std::string> names_;
  std::uint64_t entry_count_ = 0;
  std::size_t recording_count_ = 0;
  bool are_all_there_ = true;
  std::vector<std::int32_t> recordings_;  // by audio index
};

}  // namespace audiomatch
