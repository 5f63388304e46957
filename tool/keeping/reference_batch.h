#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tool/input/input_files.h"
#include "tool/input/sound_source.h"
#include "tool/keeping/entry_runs.h"

namespace audiomatch {

/// A file that may become a recording of a database.
struct Arrival {
  std::filesystem::path path;   ///< as given
  std::filesystem::path place;  ///< absolute, links followed
  bool named = false;           ///< given by name, so it has to be audio
  std::string name;             ///< given or, later, found; empty before
  bool named_by_path = false;   ///< so its name depends on the others

  /// What the analysis gave; nothing when it failed, for `problem`, or wasn't
  /// begun.
  struct Analysis {
    double seconds;
    std::size_t features;
    std::size_t entries;
    std::vector<std::uint32_t> parts;  ///< their numbers in the runs
    std::uint64_t bytes;               ///< of the file
    std::optional<Damage> damage;      ///< of its sound
  };
  std::optional<Analysis> analysis;
  std::string problem;
};

/// How files are analysed.
struct BatchOptions {
  std::size_t room;  ///< of each audio's entries
  unsigned jobs;     ///< files at a time
  bool keep_going;   ///< also when a file given by name can't be analysed
  bool show_progress;
  SoundOptions sound;
};

/// Analyses files, several at a time, and hands their entries to `runs`. Stops
/// early at a failure that makes all vain. Throws FileError when `runs` does,
/// std::bad_alloc, Interrupted.
void analyseAll(std::vector<Arrival>& arrivals, const BatchOptions& options, EntryRuns& runs);

}  // namespace audiomatch
