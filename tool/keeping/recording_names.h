#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <unordered_set>
#include <vector>

namespace audiomatch {

/// What recordings are called after.
enum class NameSource {
  kPath,  ///< the file's name without its extension, with as much of its path as tells it apart
  kStem,  ///< the same without any of the path
  kTags,  ///< "Artist - Title"; where these tags are missing, as kPath
};

/// The names by which a file could go, the shortest first: its stem, then with
/// one folder more in front each, "Album A/01 intro". At least one.
std::vector<std::string> namesOfPath(const std::filesystem::path& file);

/// Names that tell files apart from each other and from the names `taken`,
/// with as few folders as that takes. Two files of a folder that differ in
/// their extensions alone keep these. A name stays taken when the whole path
/// doesn't help.
std::vector<std::string> distinctNames(std::span<const std::filesystem::path> files,
                                       const std::unordered_set<std::string>& taken);

/// "Artist - Title" of a sound file's tags; empty when either is missing or the
/// file has tags that can't be read.
std::string nameFromTags(const std::filesystem::path& file);

}  // namespace audiomatch
