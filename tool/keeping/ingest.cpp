#include "tool/keeping/ingest.h"

#include <fmt/core.h>

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <utility>

#include "tool/base/interrupt.h"
#include "tool/input/input_files.h"
#include "tool/keeping/catalogue.h"
#include "tool/keeping/database_change.h"
#include "tool/keeping/database_check.h"
#include "tool/keeping/duplicate_finder.h"
#include "tool/keeping/input_list.h"
#include "tool/keeping/known_recordings.h"
#include "tool/keeping/replaceable.h"
#include "tool/output/messages.h"

namespace audiomatch {
namespace {

namespace fs = std::filesystem;

fs::path canonicalOr(const fs::path& path) {
  std::error_code error;
  fs::path place = fs::canonical(path, error);
  return error ? fs::absolute(path).lexically_normal() : place;
}

/// One ingestion, step by step.
class Ingestion {
 public:
  Ingestion(const IngestOptions& options, bool add)
      : options_(options),
        add_(add),
        change_(options.database, options.batch.show_progress),
        runs_(change_.place(), options.memory / 3 / sizeof(std::uint64_t)) {}

  Ingested run(bool replace);

 private:
  void openOld();
  void collect();
  void takeCandidate(const InputFile& file, const std::string& given);
  bool reportProblems();
  void nameAll();
  void nameByPath();
  bool refuseTakenNames();
  void write();
  bool leaveOutDuplicates(const std::vector<Duplicate>& duplicates);
  std::vector<std::unique_ptr<EntrySource>> sources(std::vector<KeptRecording>& recordings) const;
  IndexReport reportOn();
  Ingested gaveUp();

  const IngestOptions& options_;
  bool add_;
  DatabaseChange change_;
  std::unique_ptr<Catalogue> old_;
  std::unique_ptr<KnownRecordings> known_;
  std::vector<Arrival> arrivals_;
  mutable EntryRuns runs_;
  bool failed_ = false;
  ExitCode damaged_ = ExitCode::kSuccess;
  IndexReport report_;
};

/// Looks what there is already; an empty file is a database without audios.
void Ingestion::openOld() {
  std::vector<std::string> names;
  if (add_ && change_.exists()) names = DatabaseFile(change_.place()).names();
  old_ = std::make_unique<Catalogue>(loadCatalogue(change_.place(), names));
  known_ = std::make_unique<KnownRecordings>(*old_);
  change_.completeAs(*old_, options_.database);
  const bool is_new = old_->recordings().empty();
  if (options_.background || is_new) change_.complete(options_.background);
}

/// Finds the files to be analysed.
void Ingestion::collect() {
  std::vector<fs::path> arguments = options_.inputs;
  std::unordered_map<std::string, std::string> given;
  if (options_.name) given[arguments[0].native()] = *options_.name;
  if (!options_.list.empty()) {
    for (ListedFile& file : readInputList(options_.list, options_.null)) {
      if (!file.name.empty()) given.try_emplace(file.path.native(), std::move(file.name));
      arguments.push_back(std::move(file.path));
    }
  }
  const InputFiles inputs = expandInputs(arguments, change_.place());
  for (const FileError& message : inputs.problems) report(message);
  for (const FileError& message : inputs.repeated) warn(message);
  failed_ = !inputs.problems.empty();
  report_.skipped = inputs.problems.size() + inputs.repeated.size();
  const fs::path own[] = {canonicalOr(catalogueFileOf(change_.place())),
                          canonicalOr(DatabaseLock::fileOf(change_.place()))};
  for (const InputFile& file : inputs.files) {
    if (!file.named && std::ranges::find(own, canonicalOr(file.path)) != std::end(own)) continue;
    const auto name = given.find(file.path.native());
    takeCandidate(file, name == given.end() ? std::string() : name->second);
  }
}

/// Takes a file unless it is in the database already.
void Ingestion::takeCandidate(const InputFile& file, const std::string& given) {
  Arrival arrival{file.path, canonicalOr(file.path), file.named, given, false, {}, {}};
  const KeptRecording* known = known_->ofFile(arrival.place, arrival.path);
  if (!given.empty() && known && known->file.empty()) known = nullptr;
  if (!given.empty() && !known) known = known_->ofUnknownFile(given);
  if (!known) {
    arrivals_.push_back(std::move(arrival));
    return;
  }
  ++report_.already_there;
  std::error_code error;
  const std::uintmax_t bytes = fs::file_size(arrival.place, error);
  if (!error && known->bytes.value_or(bytes) != bytes) {
    warn(fmt::format("has changed since it was added as {}; to take it as it is now, remove "
                     "{} first",
                     known->name, known->name),
         file.path);
  }
}

/// Tells the user what went wrong. Returns true when a file given by name did.
bool Ingestion::reportProblems() {
  bool named_failed = false;
  for (const Arrival& arrival : arrivals_) {
    if (!arrival.analysis) {
      ++report_.skipped;
    } else {
      damaged_ = worse(damaged_, reportDamage(arrival.path, arrival.analysis->damage));
    }
    if (arrival.problem.empty()) continue;
    arrival.named ? report(arrival.problem, arrival.path)
                  : warn("skipped: " + arrival.problem, arrival.path);
    named_failed = named_failed || arrival.named;
  }
  std::erase_if(arrivals_, [](const Arrival& arrival) { return !arrival.analysis; });
  return named_failed;
}

/// Names those that have none yet.
void Ingestion::nameAll() {
  for (Arrival& arrival : arrivals_) {
    if (!arrival.name.empty()) continue;
    if (options_.name_from == NameSource::kStem) arrival.name = arrival.path.stem().string();
    if (options_.name_from == NameSource::kTags) arrival.name = nameFromTags(arrival.path);
    arrival.named_by_path = arrival.name.empty();
  }
  nameByPath();
}

/// Names those that go by their paths, apart from all names that there are;
/// those without an analysis don't count.
void Ingestion::nameByPath() {
  std::unordered_set<std::string> taken = known_->names();
  std::vector<Arrival*> nameless;
  std::vector<fs::path> paths;
  for (Arrival& arrival : arrivals_) {
    if (!arrival.analysis) continue;
    if (!arrival.named_by_path) taken.insert(arrival.name);
    if (!arrival.named_by_path) continue;
    nameless.push_back(&arrival);
    paths.push_back(arrival.path);
  }
  std::vector<std::string> names = distinctNames(paths, taken);
  for (std::size_t i = 0; i < names.size(); ++i) nameless[i]->name = std::move(names[i]);
}

/// Leaves out those whose names are others' or none. Returns true when a file
/// given by name was among them.
bool Ingestion::refuseTakenNames() {
  std::unordered_set<std::string> taken = known_->names();
  bool named_refused = false;
  std::erase_if(arrivals_, [&](const Arrival& arrival) {
    const std::string& name = arrival.name;
    const bool has_zero = name.find('\0') != std::string::npos;
    if (!has_zero && taken.insert(name).second) return false;
    if (known_->ofUnknownFile(name)) {
      ++report_.already_there;
      return true;
    }
    ++report_.skipped;
    named_refused = named_refused || arrival.named;
    report(std::string(arrival.named ? "" : "skipped: ") +
               (has_zero ? "a name has no zero bytes"
                         : fmt::format("the name {} is another recording's; give it one with "
                                       "--name, or use --name-from path",
                                       name)),
           arrival.path);
    return true;
  });
  return named_refused;
}

/// Where the new database's entries come from. Appends the new recordings.
std::vector<std::unique_ptr<EntrySource>> Ingestion::sources(
    std::vector<KeptRecording>& recordings) const {
  std::uint32_t next = 0;
  std::vector<std::uint32_t> old_indices =
      old_->newIndices([](const KeptRecording&) { return true; }, next);
  std::vector<std::uint32_t> new_indices(runs_.audioCount(), kNoIndex);
  for (const Arrival& arrival : arrivals_) {
    const Arrival::Analysis& analysis = *arrival.analysis;
    recordings.push_back(
        {arrival.name, analysis.parts.size(), analysis.seconds, {}, arrival.place, analysis.bytes});
    for (const std::uint32_t number : analysis.parts) new_indices[number] = next++;
  }
  std::vector<std::unique_ptr<EntrySource>> sources;
  if (add_ && change_.exists()) {
    sources.push_back(std::make_unique<DatabaseEntries>(
        std::make_unique<DatabaseFile>(change_.place()), std::move(old_indices)));
  }
  sources.push_back(std::make_unique<NewEntries>(runs_, std::move(new_indices)));
  return sources;
}

/// Writes the new database; once more without the duplicates, if there are any.
void Ingestion::write() {
  const auto write_with = [&](bool find) {
    std::vector<KeptRecording> recordings = old_->recordings();
    const std::size_t first_new = recordings.size();
    const auto entries = sources(recordings);
    std::uint64_t bytes = 0;
    for (const auto& source : entries) bytes += source->bytes();
    DuplicateFinder finder(recordings, first_new, bytes / sizeof(std::uint64_t),
                           options_.memory / 3 * 2 / DuplicateFinder::kPairBytes);
    BucketWatcher watcher;
    if (find) {
      watcher = [&finder](std::uint32_t key, std::span<const std::uint64_t> bucket) {
        finder.see(key, bucket);
      };
    }
    change_.write(std::move(recordings), entries, watcher);
    return finder.find();
  };
  const std::vector<Duplicate> duplicates = write_with(!options_.keep_duplicates);
  if (leaveOutDuplicates(duplicates) && !arrivals_.empty()) write_with(false);
}

/// Returns true when there are any.
bool Ingestion::leaveOutDuplicates(const std::vector<Duplicate>& duplicates) {
  const std::size_t first_new = old_->recordings().size();
  for (const Duplicate& duplicate : duplicates) {
    arrivals_[duplicate.recording - first_new].analysis.reset();
  }
  // What was told apart from a duplicate may have a shorter name now.
  nameByPath();
  for (const Duplicate& duplicate : duplicates) {
    warn(fmt::format("the same audio as {}, left out; --keep-duplicates keeps it",
                     duplicate.of < first_new ? old_->recordings()[duplicate.of].name
                                              : arrivals_[duplicate.of - first_new].name),
         arrivals_[duplicate.recording - first_new].path);
  }
  report_.duplicates = duplicates.size();
  std::erase_if(arrivals_, [](const Arrival& arrival) { return !arrival.analysis; });
  return !duplicates.empty();
}

IndexReport Ingestion::reportOn() {
  report_.database = options_.database;
  for (const Arrival& arrival : arrivals_) {
    const Arrival::Analysis& analysis = *arrival.analysis;
    report_.files.push_back({arrival.path, arrival.name, analysis.parts.size(), analysis.seconds,
                             analysis.features, analysis.entries});
  }
  return std::move(report_);
}

Ingested Ingestion::gaveUp() {
  report("not written; --keep-going takes the rest", options_.database);
  return {std::nullopt, ExitCode::kFailure};
}

Ingested Ingestion::run(bool replace) {
  if (!add_) checkReplaceable(change_.place(), replace);
  { const AtomicFile trial(change_.place()); }
  openOld();
  collect();
  const auto give_up = [&] { return failed_ && !options_.batch.keep_going; };
  if (give_up()) return gaveUp();
  analyseAll(arrivals_, options_.batch, runs_);
  failed_ = reportProblems() || failed_;
  if (give_up()) return gaveUp();
  nameAll();
  failed_ = refuseTakenNames() || failed_;
  if (give_up()) return gaveUp();
  if (!arrivals_.empty()) write();
  if (arrivals_.empty() && report_.already_there == 0 && report_.duplicates == 0) {
    throw FileError(options_.database, "not written: no recording to take");
  }
  if (arrivals_.empty()) {
    // The old one has it all.
    const DatabaseCheck old = checkDatabase(change_.place());
    report_.audios = old.audios;
    report_.entries = old.entries;
    report_.background = old.background;
    report_.bytes = old.bytes;
  } else {
    const auto& recordings = change_.recordings();
    change_.commit({recordings.begin(),
                    recordings.begin() + static_cast<std::ptrdiff_t>(old_->recordings().size())});
    report_.audios = change_.audioCount();
    report_.entries = change_.entryCount();
    report_.background = change_.background();
    report_.bytes = change_.bytes();
  }
  return {reportOn(), failed_ ? ExitCode::kFailure : damaged_};
}

}  // namespace

Ingested ingest(const IngestOptions& options, bool add, bool replace) {
  const InterruptGuard guard;
  return Ingestion(options, add).run(replace);
}

}  // namespace audiomatch
