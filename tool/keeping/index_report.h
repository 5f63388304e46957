#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace audiomatch {

/// What became of one file.
struct IndexedFile {
  std::filesystem::path path;
  std::string name;
  std::size_t parts;
  double seconds;
  std::size_t features;
  std::size_t entries;
};

/// What an indexing or adding came to.
struct IndexReport {
  std::filesystem::path database;
  std::vector<IndexedFile> files;  ///< that are new in it
  std::size_t audios = 0;          ///< of the whole database, as the next three
  std::uint64_t entries = 0;
  std::size_t background = 0;  ///< audios beside the others, whose entries aren't counted
  std::uint64_t bytes = 0;
  std::size_t skipped = 0;        ///< files that couldn't be taken
  std::size_t already_there = 0;  ///< files that are in it from before
  std::size_t duplicates = 0;     ///< files left out for their audio, which another has

  /// The report as a table with a summary below it.
  std::string asTable() const;
  /// The same as lines of JSON, one for each file and one for the summary.
  std::string asJson() const;
};

}  // namespace audiomatch
