#include "tool/keeping/database_edit.h"

#include <fmt/core.h>
#include <fnmatch.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <unordered_map>
#include <utility>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/keeping/catalogue.h"
#include "tool/keeping/database_change.h"
#include "tool/keeping/replaceable.h"
#include "tool/output/messages.h"

namespace audiomatch {
namespace {

namespace fs = std::filesystem;

/// A database with what is known of its recordings.
struct Opened {
  explicit Opened(const fs::path& path)
      : file(std::make_unique<DatabaseFile>(path)), catalogue(loadCatalogue(path, file->names())) {}

  std::unique_ptr<DatabaseFile> file;
  Catalogue catalogue;
};

/// Takes the recordings that `wanted` says over, behind those in `recordings`. A background is
/// made anew, for those that there are then.
std::unique_ptr<EntrySource> take(Opened opened, DatabaseChange& change,
                                  const std::function<bool(const KeptRecording&)>& wanted,
                                  std::vector<KeptRecording>& recordings, std::uint32_t& next) {
  const auto take_over = [&](const KeptRecording& recording) {
    const bool taken = wanted(recording);
    if (taken) recordings.push_back(recording);
    return taken;
  };
  std::vector<std::uint32_t> index_of = opened.catalogue.newIndices(take_over, next);
  change.completeAs(opened.catalogue, opened.file->path());
  return std::make_unique<DatabaseEntries>(std::move(opened.file), std::move(index_of));
}

EditReport reportOn(const fs::path& database, const DatabaseChange& change,
                    std::vector<KeptRecording> changed) {
  EditReport report{database,
                    std::move(changed),
                    change.recordings().size(),
                    change.audioCount(),
                    change.entryCount(),
                    change.background(),
                    change.bytes(),
                    0};
  return report;
}

[[noreturn]] void refuseName(const fs::path& database, const std::string& name) {
  throw FileError(database, fmt::format("has no recording {}, so nothing was changed; `audiomatch "
                                        "list` gives the names",
                                        name));
}

/// Tells which recordings are meant, and afterwards whether each name was one.
class Selection {
 public:
  Selection(const std::vector<std::string>& names, bool patterns)
      : names_(names), met_(names.size()), patterns_(patterns) {}

  bool takes(const std::string& name) {
    bool taken = false;
    for (std::size_t i = 0; i < names_.size(); ++i) {
      const bool same =
          patterns_ ? fnmatch(names_[i].c_str(), name.c_str(), 0) == 0 : names_[i] == name;
      if (same) met_[i] = taken = true;
    }
    return taken;
  }

  /// Throws FileError for a name that nothing had.
  void requireAllMet(const fs::path& database) const {
    for (std::size_t i = 0; i < names_.size(); ++i) {
      if (!met_[i]) refuseName(database, names_[i]);
    }
  }

 private:
  const std::vector<std::string>& names_;
  std::vector<bool> met_;
  bool patterns_;
};

}  // namespace

EditReport removeRecordings(const fs::path& database, const std::vector<std::string>& names,
                            bool patterns, bool show_progress) {
  const InterruptGuard guard;
  DatabaseChange change(database, show_progress);
  Selection selection(names, patterns);
  std::vector<KeptRecording> kept;
  std::vector<KeptRecording> removed;
  std::uint32_t next = 0;
  std::vector<std::unique_ptr<EntrySource>> sources;
  const auto stays = [&](const KeptRecording& recording) {
    const bool goes = selection.takes(recording.name);
    if (goes) removed.push_back(recording);
    return !goes;
  };
  sources.push_back(take(Opened(change.place()), change, stays, kept, next));
  selection.requireAllMet(database);
  change.write(std::move(kept), sources);
  change.commit(change.recordings());
  return reportOn(database, change, std::move(removed));
}

EditReport renameRecording(const fs::path& database, const std::string& old_name,
                           const std::string& new_name, bool show_progress) {
  if (new_name.empty()) throw UsageError("a recording has a name");
  const InterruptGuard guard;
  DatabaseChange change(database, show_progress);
  std::vector<KeptRecording> recordings;
  std::uint32_t next = 0;
  std::vector<std::unique_ptr<EntrySource>> sources;
  const auto all = [](const KeptRecording&) { return true; };
  sources.push_back(take(Opened(change.place()), change, all, recordings, next));
  std::vector<KeptRecording> renamed;
  for (KeptRecording& recording : recordings) {
    if (recording.name == new_name) {
      throw FileError(database, fmt::format("the name {} is another recording's, so nothing was "
                                            "changed",
                                            new_name));
    }
    if (recording.name != old_name) continue;
    recording.name = new_name;
    renamed.push_back(recording);
  }
  if (renamed.empty()) refuseName(database, old_name);
  change.write(std::move(recordings), sources);
  std::vector<KeptRecording> unchanged = change.recordings();
  std::erase_if(unchanged, [&](const KeptRecording& kept) { return kept.name == new_name; });
  change.commit(unchanged);
  return reportOn(database, change, std::move(renamed));
}

EditReport mergeDatabases(const fs::path& database, const std::vector<fs::path>& parts,
                          bool replace, bool show_progress) {
  const InterruptGuard guard;
  DatabaseChange change(database, show_progress);
  checkReplaceable(change.place(), replace);
  std::vector<KeptRecording> recordings;
  std::unordered_map<std::string, KeptRecording> taken;
  EditReport left_out;
  std::uint32_t next = 0;
  std::vector<std::unique_ptr<EntrySource>> sources;
  for (const fs::path& part : parts) {
    const auto is_new = [&](const KeptRecording& recording) {
      const auto [first, is_first] = taken.try_emplace(recording.name, recording);
      if (is_first) return true;
      const bool same = first->second == recording && recording.entries;
      ++(same ? left_out.already_there : left_out.skipped);
      if (same) return false;
      warn(fmt::format("skipped: the name {} is taken; `audiomatch rename` gives another",
                       recording.name),
           part);
      return false;
    };
    sources.push_back(take(Opened(part), change, is_new, recordings, next));
  }
  change.write(std::move(recordings), sources);
  change.commit({});
  EditReport merged = reportOn(database, change, change.recordings());
  merged.already_there = left_out.already_there;
  merged.skipped = left_out.skipped;
  return merged;
}

}  // namespace audiomatch
