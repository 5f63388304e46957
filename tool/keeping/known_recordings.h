#pragma once

#include <filesystem>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "tool/keeping/catalogue.h"

namespace audiomatch {

/// Tells which files are in a database already.
class KnownRecordings {
 public:
  /// @param catalogue  outlives this object
  explicit KnownRecordings(const Catalogue& catalogue);

  /// The recording of a file, or null: the one that was made of it or, where the
  /// catalogue doesn't know of what, one that has a name the file could go by.
  ///
  /// @param place  absolute, links followed
  const KeptRecording* ofFile(const std::filesystem::path& place,
                              const std::filesystem::path& path) const;

  /// The recording of a name, if the catalogue doesn't know its file; or null.
  const KeptRecording* ofUnknownFile(const std::string& name) const;

  /// All names.
  const std::unordered_set<std::string>& names() const noexcept { return names_; }

 private:
  std::unordered_map<std::string, const KeptRecording*> by_file_;
  std::unordered_map<std::string, const KeptRecording*> without_file_;  // by name
  std::unordered_set<std::string> names_;
};

}  // namespace audiomatch
