#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "tool/store/reference_store.h"

namespace audiomatch {

/// Entries of references by hash key, as stores take them.
class EntryGroups {
 public:
  /// Takes an audio's entries.
  void add(std::uint32_t audio, std::span<const audio::AudioFeature> entries);

  /// Hands out the packed entries of each key that has any, by key, each entry
  /// once and ascending. Once.
  ///
  /// @param watcher  told now and then; may be empty
  void forEach(const std::function<void(std::uint32_t key, std::span<const std::uint64_t>)>& visit,
               const ReferenceStore::Watcher& watcher);

 private:
  struct Item {
    std::uint32_t key;
    std::uint64_t entry;

    friend bool operator==(const Item&, const Item&) = default;
  };

  std::vector<Item> items_;
};

/// What tells whether two references are the same: 16 bytes of their entries' hash.
std::string digestOf(const NewReference& reference);

}  // namespace audiomatch
