#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tool/store/reference_store.h"

namespace audiomatch {

/// What a push has done.
struct Pushed {
  std::size_t added = 0;
  std::size_t present = 0;             ///< that the store had already
  std::vector<std::string> conflicts;  ///< names of which it has another
  std::uint64_t entries = 0;           ///< of those added
};

/// Brings a database's references into a store, and not its background, some at a time: what is
/// done stays done when it is interrupted, and isn't done again the next time. A name that the
/// database has twice is a conflict from the second on. Throws FileError when the database isn't
/// whole or the store fails, std::bad_alloc, Interrupted.
///
/// @param progress  told how many of all entries are done
Pushed pushDatabase(const std::filesystem::path& database, ReferenceStore& store,
                    const std::function<void(std::uint64_t done, std::uint64_t of)>& progress);

}  // namespace audiomatch
