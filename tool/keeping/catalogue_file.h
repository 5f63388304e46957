#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tool/keeping/kept_recording.h"

namespace audiomatch {

/// The catalogue of a database, DB.catalogue.json: what isn't in the database
/// itself, a line of JSON for each recording. Everything works without it.
std::filesystem::path catalogueFileOf(const std::filesystem::path& database);

/// What a catalogue's file says.
struct CatalogueFile {
  std::vector<KeptRecording> recordings;  ///< of the lines that can be read
  std::string problem;                    ///< the first thing wrong with it, for people; or empty
  bool exists = false;
};

/// Reads a database's catalogue, as far as there is one. Whether it speaks of
/// this database is for Catalogue to find out.
CatalogueFile readCatalogueFile(const std::filesystem::path& database);

/// The catalogue of recordings as the bytes of its file.
std::string catalogueText(const std::vector<KeptRecording>& recordings);

}  // namespace audiomatch
