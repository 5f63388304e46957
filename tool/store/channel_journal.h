#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

#include "match/audio_attribute.h"
#include "tool/recognition/live_channels.h"
#include "tool/store/lmdb.h"

namespace audiomatch {

/// What live channels played of late, in a file: a server that is started again goes on with
/// it. It outlives the process; with the machine it ends, as the clock does by which it is
/// dated. Any thread.
class ChannelJournal {
 public:
  /// Opens this boot's journal in a folder, and removes those of earlier ones. Throws
  /// FileError.
  explicit ChannelJournal(const std::filesystem::path& folder);

  /// An analysis of a channel that was noted.
  struct Note {
    std::uint32_t id;
    ChannelSession session;
    std::uint32_t analysis;  ///< its number
    LiveChannels::Clock::time_point when;
    std::vector<audio::AudioAttribute> attributes;  ///< their stream is the channel
  };

  /// Notes an analysis, and forgets those of the channel that are older than its monitor time
  /// or of another session. The same again changes nothing. Throws FileError.
  void note(const Note& note);

  /// Forgets a channel. Throws FileError.
  void forget(std::uint32_t id);

  /// Hands out all that is noted, by channel and number. Throws FileError.
  void read(const std::function<void(Note note)>& visit);

  /// Bytes of the file that are in use.
  std::uint64_t bytes() const { return file_.bytes(); }

 private:
  void dropBefore(LmdbTransaction& change, std::uint32_t id, std::uint64_t analysis);

  LmdbFile file_;
  MDB_dbi sessions_ = 0;  // by channel
  MDB_dbi analyses_ = 0;  // by channel and number: when it came, and its attributes
};

}  // namespace audiomatch
