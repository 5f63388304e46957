#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "match/database/audio_database.h"
#include "tool/recognition/references.h"

namespace audiomatch {

/// References in a database file: loaded once, then shared and only read.
class ReferenceDatabase : public References {
 public:
  /// Loads a database. Throws FileError when it can't be read, isn't a database
  /// or isn't whole, and std::bad_alloc.
  explicit ReferenceDatabase(const std::filesystem::path& path);

  std::shared_ptr<const ReferenceNames> names() const override { return names_; }

 private:
  FoundHits lookUp(const std::vector<audio::AudioFeature>& features,
                   std::size_t most) const override;
  audio::AudioDatabase database_;
  std::shared_ptr<const ReferenceNames> names_;
};

}  // namespace audiomatch
