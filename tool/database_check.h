#pragma once

#include <filesystem>

namespace audiomatch {

/// True for a file that may be replaced by a database: one that isn't there,
/// is empty or has the names and the header of a database. Anything else was
/// hardly meant, such as the first recording when the database was forgotten.
bool mayBecomeDatabase(const std::filesystem::path& path);

}  // namespace audiomatch
