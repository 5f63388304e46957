#include "tool/store/local_store.h"

#include <fmt/core.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tool/base/errors.h"
#include "tool/output/messages.h"

namespace audiomatch {
namespace {

/// Makes a store's folder and locks it.
std::unique_ptr<DatabaseLock> lock(const std::filesystem::path& folder) {
  constexpr const char* kOther = "; give another folder with --store DIR, or --store none";
  std::error_code error;
  std::filesystem::create_directory(folder, error);
  if (error) throw FileError(folder, "can't be made: " + error.message() + kOther);
  try {
    return std::make_unique<DatabaseLock>(folder / "references");
  } catch (const FileError& problem) {
    throw FileError(folder, std::string(problem.problem()) + kOther);
  }
}

}  // namespace

StoreFolder::StoreFolder(const std::filesystem::path& folder)
    : lock_(lock(folder)), references_(folder / "references"), journal_(folder) {}

LocalStore::LocalStore(std::unique_ptr<const References> own, std::unique_ptr<StoreFolder> folder,
                       const Thresholds& thresholds)
    : own_(std::move(own)), folder_(std::move(folder)), channels_(thresholds) {
  if (!folder_) return;
  std::size_t left_out = 0;
  folder_->journal().read([&](ChannelJournal::Note note) {
    try {
      channels_.apply(note.id, note.session, note.analysis, std::move(note.attributes), note.when);
    } catch (const std::length_error&) {
      ++left_out;
    }
  });
  if (left_out > 0) {
    warn(fmt::format("{} noted analyses of channels are left out: there is no room", left_out));
  }
  LocalStore::tidy();
}

Store::Found LocalStore::find(const std::vector<audio::AudioFeature>& features, Patience) {
  Found found{own_->find(features, kMostHits), channels_.lookUp(features)};
  if (folder_) {
    found.references =
        joiner_.join(found.references, folder_->references().find(features, kMostHits));
  }
  return found;
}

std::shared_ptr<const ReferenceNames> LocalStore::names() {
  return folder_ ? joiner_.join(own_->names(), folder_->references().names()) : own_->names();
}

bool LocalStore::isRemovable(std::int32_t audioIndex) {
  return static_cast<std::size_t>(audioIndex) >= own_->names()->audioCount();
}

Adding LocalStore::add(const NewReference& reference) {
  if (!folder_) return Adding::kNoStore;
  if (own_->names()->has(reference.name)) return Adding::kConflict;
  return folder_->references().add({&reference, 1}, {})[0];
}

bool LocalStore::remove(const std::string& name) {
  return folder_ && folder_->references().remove(name);
}

Taken LocalStore::apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
                        std::vector<audio::AudioAttribute> current) {
  const std::lock_guard lock(noting_);
  const auto now = LiveChannels::Clock::now();
  const Taken taken = channels_.apply(id, session, analysis, current, now);
  // One that came before may not have been noted, if the disk was full.
  if (folder_ && channels_.remembers(id, session, analysis)) {
    folder_->journal().note({id, session, analysis, now, std::move(current)});
  }
  return taken;
}

bool LocalStore::end(std::uint32_t id, const std::optional<std::string>& key) {
  const std::lock_guard lock(noting_);
  const bool ended = channels_.end(id, key);
  if (folder_ && ended) folder_->journal().forget(id);
  return ended;
}

std::vector<std::string> LocalStore::tidy() {
  const std::lock_guard lock(noting_);
  std::vector<std::string> ended;
  for (auto& [id, name] : channels_.endSilent()) {
    if (folder_) folder_->journal().forget(id);
    ended.push_back(std::move(name));
  }
  return ended;
}

StoreCounts LocalStore::counts() {
  const auto names = this->names();
  const ChannelBounds held = channels_.held();
  const std::uint64_t bytes =
      folder_ ? folder_->references().bytes() + folder_->journal().bytes() : 0;
  return {names->recordingCount(), names->entryCount(), held.channels, held.attributes, bytes};
}

}  // namespace audiomatch
