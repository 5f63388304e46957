#include "tool/recognition/reference_database.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "match/database/database_format.h"
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

}  // namespace

ReferenceDatabase::ReferenceDatabase(const std::filesystem::path& path) {
  database_.load(path.c_str());
  requireLoaded(database_, path);
  std::vector<std::string> names(database_.audioCount());
  for (std::size_t i = 0; i < names.size(); ++i) {
    names[i] = database_.name(static_cast<std::int32_t>(i));
  }
  std::uint64_t entries = 0;
  for (std::uint32_t key = 0; key < audio::kTableSize; ++key)
    entries += database_.bucket(key).count;
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
