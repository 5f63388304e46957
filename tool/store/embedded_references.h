#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tool/store/lmdb.h"
#include "tool/store/reference_store.h"

namespace audiomatch {

/// References in a file of this machine, on the disk when `add` and `remove` return.
class EmbeddedReferences : public ReferenceStore {
 public:
  /// Opens the file, or makes it; one process at a time has it. Throws FileError.
  explicit EmbeddedReferences(const std::filesystem::path& file);

  std::shared_ptr<const ReferenceNames> names() const override;
  std::vector<Adding> add(std::span<const NewReference> references,
                          const Watcher& watcher) override;
  bool remove(const std::string& name) override;

  /// Bytes of the file that are in use.
  std::uint64_t bytes() const { return file_.bytes(); }

 private:
  FoundHits lookUp(const std::vector<audio::AudioFeature>& features,
                   std::size_t most) const override;
  void loadNames();
  void publish(std::shared_ptr<const ReferenceNames> names) noexcept;
  struct Addition;
  Adding addOne(Addition& addition, const NewReference& reference) const;

  mutable LmdbFile file_;
  MDB_dbi entries_ = 0;  // by key: a bucket
  MDB_dbi audios_ = 0;   // by audio: the digest of its reference, and its name
  std::mutex changing_;
  mutable std::mutex mutex_;
  std::shared_ptr<const ReferenceNames> names_;
};

}  // namespace audiomatch
