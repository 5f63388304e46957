#include "tool/recognition/reference_database.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "match/database/database_format.h"
#include "match/database/packed_entry.h"
#include "tool/base/errors.h"
#include "tool/keeping/database_check.h"

namespace audiomatch {
namespace {

constexpr const char* kNone = "; make one with: audiomatch index DB FILE...";

void requireLoaded(const audio::AudioDatabase& database, const std::filesystem::path& path) {
  switch (database.state()) {
    case audio::DatabaseState::kWhole:
      return;
    case audio::DatabaseState::kCut:
      requireWhole(path);
      throw FileError(path, "isn't whole");  // it was, by then
    case audio::DatabaseState::kCannotOpen:
      throw FileError(path, std::strerror(database.openingError()) +
                                std::string(database.openingError() == ENOENT ? kNone : ""));
    case audio::DatabaseState::kReadFailed:
      throw FileError(path, "can't be read to its end; it may be a folder, or the disk failed");
    case audio::DatabaseState::kDamaged:
      throw FileError(path, std::string("not a database, or damaged") + kNone);
    default:
      throw std::bad_alloc();
  }
}

/// Entries of the audios that have a name.
std::uint64_t countEntries(const audio::AudioDatabase& database,
                           const std::vector<std::string>& names) {
  const bool have_all_names = std::ranges::none_of(names, &std::string::empty);
  const auto has_name = [&](std::uint64_t entry) {
    const std::uint32_t audio = audio::entryAudioIndex(entry);
    return audio < names.size() && !names[audio].empty();
  };
  std::uint64_t entries = 0;
  for (std::uint32_t key = 0; key < audio::kTableSize; ++key) {
    const audio::Bucket bucket = database.bucket(key);
    // Only small databases have a background: a large one needn't be read for this.
    if (have_all_names) entries += bucket.count;
    for (std::size_t i = 0; !have_all_names && i < bucket.count; ++i)
      entries += has_name(bucket[i]);
  }
  return entries;
}

}  // namespace

ReferenceDatabase::ReferenceDatabase(const std::filesystem::path& path) {
  database_.load(path.c_str());
  requireLoaded(database_, path);
  std::vector<std::string> names(database_.audioCount());
  for (std::size_t i = 0; i < names.size(); ++i) {
    names[i] = database_.name(static_cast<std::int32_t>(i));
  }
  const std::uint64_t entries = countEntries(database_, names);
  names_ = std::make_shared<const ReferenceNames>(std::move(names), entries);
}

FoundHits ReferenceDatabase::lookUp(const std::vector<audio::AudioFeature>& features,
                                    std::size_t most) const {
  FoundHits found{.hits = {}, .ends = {}, .names = names_};
  found.ends.reserve(features.size());
  std::size_t end = 0;
  for (const audio::AudioFeature& feature : features) {
    end += database_.bucket(feature.hashKey).count;
    found.ends.push_back(end);
  }
  requireHits(end, most);
  database_.extractHits(features, found.hits);
  return found;
}

}  // namespace audiomatch
