#include "tool/keeping/database_check.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "match/database/byte_source.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/keeping/catalogue.h"
#include "tool/keeping/temporary_file.h"

namespace audiomatch {
namespace {

constexpr unsigned kBucketsBetweenLooks = 1 << 14;

/// What a catalogue says that the database doesn't; `catalogue` has its counts.
std::string contradiction(const CatalogueFile& file, const Catalogue& catalogue) {
  std::unordered_map<std::string, const KeptRecording*> kept;
  for (const KeptRecording& recording : catalogue.recordings()) kept[recording.name] = &recording;
  const auto wrong = std::ranges::count_if(file.recordings, [&](const KeptRecording& said) {
    const auto found = kept.find(said.name);
    return found == kept.end() || found->second->parts != said.parts ||
           said.entries.value_or(*found->second->entries) != *found->second->entries;
  });
  if (wrong == 0) return {};
  return fmt::format("{} of its {} recordings aren't in the database as it says", wrong,
                     file.recordings.size());
}

void checkCatalogue(const std::filesystem::path& database, const std::vector<std::string>& names,
                    const std::vector<std::uint64_t>& entries, DatabaseCheck& check) {
  const CatalogueFile file = readCatalogueFile(followLinks(database));
  check.has_catalogue = file.exists;
  check.catalogue_problem = file.problem;
  if (!file.exists || !file.problem.empty() || check.fault) return;
  Catalogue catalogue(names, file.recordings);
  catalogue.countEntries(entries);
  check.catalogue_problem = contradiction(file, catalogue);
}

}  // namespace

std::string describe(const audio::DatabaseFault& fault) {
  using Kind = audio::DatabaseFault::Kind;
  const auto what = [&]() -> std::string {
    switch (fault.kind) {
      case Kind::kNameCount:
        return "no count of names that its length could hold";
      case Kind::kName:
        return fmt::format("the file ends within the name of audio {}", fault.number);
      case Kind::kHeader:
        return "the numbers that a database has behind its names aren't there";
      case Kind::kBucketCount:
        return fmt::format("the file ends before bucket {}", fault.number);
      case Kind::kBucket:
        return fmt::format("the file ends among the {} entries of bucket {}", fault.claimed,
                           fault.number);
      case Kind::kAudio:
        return fmt::format("an entry of bucket {} is of audio {}, which has no name", fault.number,
                           fault.claimed);
      case Kind::kBytesLeft:
        return "there are bytes behind the last bucket";
      case Kind::kReadFailed:
        return "can't be read on; it may be a folder, or the disk failed";
    }
    return {};
  };
  return fmt::format("at byte {}: {}", fault.offset, what());
}

DatabaseCheck checkDatabase(const std::filesystem::path& database) {
  audio::FileSource file(database.c_str());
  if (!file.isOpen()) throw FileError(database, std::strerror(file.openingError()));
  audio::DatabaseReader reader(file);
  DatabaseCheck check;
  check.bytes = file.remaining();
  std::vector<std::uint64_t> entries_of;
  if (reader.readNames()) {
    entries_of.resize(reader.names().size());
    std::vector<std::uint64_t> bucket;
    for (unsigned number = 0; reader.nextBucket(bucket); ++number) {
      if (number % kBucketsBetweenLooks == 0) checkInterrupt();
      for (const std::uint64_t entry : bucket) {
        const std::uint32_t audio = audio::entryAudioIndex(entry);
        if (audio < entries_of.size()) ++entries_of[audio];
      }
    }
  }
  check.fault = reader.fault();
  check.loading = reader.loading();
  for (std::size_t i = 0; i < entries_of.size(); ++i) {
    const bool is_background = reader.names()[i].empty();
    ++(is_background ? check.background : check.audios);
    if (!is_background) check.entries += entries_of[i];
  }
  checkCatalogue(database, reader.names(), entries_of, check);
  return check;
}

std::string describeLoading(const DatabaseCheck& check) {
  switch (check.loading) {
    case audio::DatabaseState::kWhole:
      return "loads";
    case audio::DatabaseState::kCut:
      return "loads; buckets that it lacks are empty, and entries 0";
    case audio::DatabaseState::kReadFailed:
      return "loads as far as it can be read, if that is past its names";
    default:
      return "is refused: \"load a bad db.\"";
  }
}

void requireWhole(const std::filesystem::path& database) {
  const DatabaseCheck check = checkDatabase(database);
  if (check.fault) refuse(database, *check.fault);
}

void refuse(const std::filesystem::path& database, const audio::DatabaseFault& fault) {
  throw FileError(database,
                  fmt::format("not a database, or damaged, {}; `audiomatch check` tells more. Take "
                              "a copy of it, or make it anew with `audiomatch index`",
                              describe(fault)));
}

}  // namespace audiomatch
