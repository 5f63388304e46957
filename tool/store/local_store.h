#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tool/keeping/database_lock.h"
#include "tool/recognition/reference_joiner.h"
#include "tool/store/channel_journal.h"
#include "tool/store/embedded_references.h"
#include "tool/store/store.h"

namespace audiomatch {

/// A folder of this machine in which a server keeps what it is given; no other process
/// may have it meanwhile.
class StoreFolder {
 public:
  /// Makes the folder, if need be, and opens what is in it. Throws FileError.
  explicit StoreFolder(const std::filesystem::path& folder);

  /// What was added.
  EmbeddedReferences& references() noexcept { return references_; }
  /// What channels played.
  ChannelJournal& journal() noexcept { return journal_; }

 private:
  std::unique_ptr<DatabaseLock> lock_;
  EmbeddedReferences references_;
  ChannelJournal journal_;
};

/// Everything on this machine: references of the server's own, those in a folder behind them,
/// and channels in memory, which the folder notes.
class LocalStore : public Store {
 public:
  /// @param own     references that never change
  /// @param folder  null for none: nothing can be added then, and channels end with
  ///                this object
  LocalStore(std::unique_ptr<const References> own, std::unique_ptr<StoreFolder> folder,
             const Thresholds& thresholds);

  Found find(const std::vector<audio::AudioFeature>& features, Patience patience) override;
  std::shared_ptr<const ReferenceNames> names() override;
  bool isRemovable(std::int32_t audioIndex) override;
  Adding add(const NewReference& reference) override;
  bool remove(const std::string& name) override;
  Taken apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
              std::vector<audio::AudioAttribute> current) override;
  bool end(std::uint32_t id, const std::optional<std::string>& key) override;
  std::vector<ChannelStatus> channels() override { return channels_.list(); }
  std::optional<OnAir> onAir(std::uint32_t id) override { return channels_.onAir(id); }
  std::vector<std::string> tidy() override;
  StoreCounts counts() override;

 private:
  std::unique_ptr<const References> own_;
  std::unique_ptr<StoreFolder> folder_;
  ReferenceJoiner joiner_;
  LiveChannels channels_;
  std::mutex noting_;  // held while channels change, so that the folder notes it in that order
};

}  // namespace audiomatch
