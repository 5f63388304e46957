#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace audiomatch {

/// Throws FileError for a file that is no database, which was hardly meant (the
/// first recording, say, when the database was forgotten), and for a database
/// with recordings unless `replace` says that it may go.
void checkReplaceable(const std::filesystem::path& database, bool replace);

/// Throws FileError for a file that isn't empty nor of the kind that is to take its
/// place, "picture" say, or that can't be read.
///
/// @param isOfKind  told the file's first bytes, at most 1024
void checkReplaceableBy(const std::filesystem::path& file, const std::string& kind,
                        const std::function<bool(std::string_view)>& isOfKind);

}  // namespace audiomatch
