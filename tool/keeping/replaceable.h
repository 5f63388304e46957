#pragma once

#include <filesystem>

namespace audiomatch {

/// Throws FileError for a file that is no database, which was hardly meant (the
/// first recording, say, when the database was forgotten), and for a database
/// with recordings unless `replace` says that it may go.
void checkReplaceable(const std::filesystem::path& database, bool replace);

}  // namespace audiomatch
