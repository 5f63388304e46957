#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tool/keeping/kept_recording.h"

namespace audiomatch {

/// What a change of a database came to.
struct EditReport {
  std::filesystem::path database;
  std::vector<KeptRecording> changed;  ///< the recordings that it was about
  std::size_t recordings = 0;          ///< of the whole database, as those below
  std::size_t audios = 0;
  std::uint64_t entries = 0;
  std::size_t background = 0;  ///< audios beside the others, whose entries aren't counted
  std::uint64_t bytes = 0;
  std::size_t already_there = 0;  ///< recordings of a merge that came before
  std::size_t skipped = 0;        ///< others, whose name is taken
};

/// Removes the recordings of some names or, as `patterns`, of names that match
/// them: *, ? and [...] as the shell has them. All parts of a recording go, and
/// all recordings of a name.
///
/// Throws FileError, for a name or pattern that nothing has too, and
/// Interrupted; the old database then stands. What takes long shows a bar, if
/// wanted.
EditReport removeRecordings(const std::filesystem::path& database,
                            const std::vector<std::string>& names, bool patterns,
                            bool show_progress);

/// Calls the recording `old_name` `new_name`. Throws likewise, and when that
/// name is taken or empty.
EditReport renameRecording(const std::filesystem::path& database, const std::string& old_name,
                           const std::string& new_name, bool show_progress);

/// Makes `database` of others, in their order. The second recording of a name
/// is left out, with a message unless all that is known of both is the same. `database` may be
/// among them, and may be replaced if `replace` says so. Throws likewise.
EditReport mergeDatabases(const std::filesystem::path& database,
                          const std::vector<std::filesystem::path>& parts, bool replace,
                          bool show_progress);

}  // namespace audiomatch
