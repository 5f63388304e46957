#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tool/base/errors.h"
#include "tool/keeping/background.h"
#include "tool/keeping/index_report.h"
#include "tool/keeping/recording_names.h"
#include "tool/keeping/reference_batch.h"

namespace audiomatch {

/// Bytes of memory that an ingestion usually takes for what grows with it: 384
/// MiB, a third of them for entries.
inline constexpr std::uint64_t kUsualMemory = 3 * EntryRuns::kMostHeld * sizeof(std::uint64_t);

/// What `index` and `add` are told.
struct IngestOptions {
  std::filesystem::path database;
  std::vector<std::filesystem::path> inputs;
  std::filesystem::path list;  ///< of further inputs; empty for none
  bool null = false;           ///< the list's files end in zero bytes
  std::optional<std::string> name;
  NameSource name_from = NameSource::kPath;
  bool keep_duplicates = false;
  BackgroundWish background;
  /// For new entries, and twice as much for finding duplicates: bytes of both.
  std::uint64_t memory = kUsualMemory;
  BatchOptions batch;
};

/// What an ingestion came to.
struct Ingested {
  std::optional<IndexReport> report;  ///< nothing when nothing was written
  ExitCode code;
};

/// Makes a database of recordings or, with `add`, takes the recordings into
/// the one that is there, in one pass over it. What is in it already is left
/// out, and what gives the same audio as another. Messages go to the user.
///
/// Throws UsageError, FileError, Interrupted; the old database then stands.
Ingested ingest(const IngestOptions& options, bool add, bool replace);

}  // namespace audiomatch
