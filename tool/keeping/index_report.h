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

/// What an indexing came to.
struct IndexReport {
  std::filesystem::path database;
  std::vector<IndexedFile> files;
  std::size_t skipped;
  std::uint64_t bytes;  ///< of the database

  /// The report as a table with a summary below it.
  std::string asTable() const;
  /// The same as lines of JSON, one for each file and one for the summary.
  std::string asJson() const;

 private:
  std::size_t audioCount() const noexcept;
  std::size_t entryCount() const noexcept;
};

}  // namespace audiomatch
