#include "tool/recognition/reference_database.h"

#include <cerrno>
#include <cstring>
#include <new>

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
  const auto database = std::make_shared<audio::AudioDatabase>();
  database->load(path.c_str());
  requireLoaded(*database, path);
  database_ = database;
  const auto count = static_cast<std::int32_t>(database->audioCount());
  recordings_.reserve(database->audioCount());
  for (std::int32_t audio = 0; audio < count; ++audio) {
    const bool goes_on = audio > 0 && database->name(audio) == database->name(audio - 1);
    recordings_.push_back(goes_on ? recordings_.back() : audio);
  }
}

std::string ReferenceDatabase::name(std::int32_t audioIndex) const {
  return std::string(database_->name(audioIndex));
}

bool ReferenceDatabase::has(std::int32_t audioIndex) const noexcept {
  return audioIndex >= 0 && static_cast<std::size_t>(audioIndex) < recordings_.size();
}

std::int32_t ReferenceDatabase::recording(std::int32_t audioIndex) const noexcept {
  return has(audioIndex) ? recordings_[static_cast<std::size_t>(audioIndex)] : -1;
}

std::int32_t ReferenceDatabase::startFrame(std::int32_t audioIndex) const noexcept {
  if (!has(audioIndex)) return 0;
  return (audioIndex - recording(audioIndex)) * static_cast<std::int32_t>(audio::kTimeSlots);
}

}  // namespace audiomatch
