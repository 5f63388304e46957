#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "match/database/audio_database.h"
#include "references.h"

namespace bench {

/// A database of references, as a builder makes it.
struct Collection {
  std::string builder;
  std::vector<std::string> names;  ///< by audio index
  double hours;                    ///< of sound
  std::uint64_t bytes;             ///< of the database's file
  std::shared_ptr<const audio::AudioDatabase> database;
};

/// Analyses the references, several at a time and with a bar, chooses entries and loads the
/// database that they make, whose file is removed again. Throws FileError, and
/// std::invalid_argument for a builder that there isn't.
///
/// @param file  the database's, for as long as it is made
Collection collect(const std::vector<Reference>& references, const std::string& builder,
                   const std::filesystem::path& file, unsigned jobs);

}  // namespace bench
