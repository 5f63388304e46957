#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "match/database/database_reader.h"

namespace audiomatch {

/// What is wrong with a database, and where, for people.
std::string describe(const audio::DatabaseFault& fault);

/// What a look at every count and index of a database came to.
struct DatabaseCheck {
  std::optional<audio::DatabaseFault> fault;
  audio::DatabaseState loading;  ///< what the engine makes of it
  std::size_t audios = 0;        ///< what there is of them, up to a fault that ends the reading
  std::uint64_t entries = 0;     ///< of these audios
  std::size_t background = 0;    ///< audios without a name, beside them
  std::uint64_t bytes = 0;
  bool has_catalogue = false;
  std::string catalogue_problem;  ///< what is wrong with the catalogue; or empty
};

/// Reads a whole database. Throws FileError when it can't be opened.
DatabaseCheck checkDatabase(const std::filesystem::path& database);

/// What loading makes of a database, for people.
std::string describeLoading(const DatabaseCheck& check);

/// Throws FileError with the first fault of a database that has one; reads all
/// of it.
void requireWhole(const std::filesystem::path& database);

/// Throws FileError for a database with a fault.
[[noreturn]] void refuse(const std::filesystem::path& database, const audio::DatabaseFault& fault);

}  // namespace audiomatch
