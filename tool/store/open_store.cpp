#include "tool/store/open_store.h"

#include <system_error>
#include <utility>

#include "tool/base/errors.h"
#include "tool/recognition/reference_database.h"
#include "tool/store/local_store.h"
#include "tool/store/redis_references.h"
#include "tool/store/redis_store.h"
#include "tool/store/store_error.h"

namespace audiomatch {
namespace {

// A database's file may be written for minutes; nodes come back sooner.
constexpr RedisTimes kTimes{};

// By which a store's folder is known.
constexpr std::string_view kReferencesFile = "references";

/// References with the cluster that they are in.
class ClusterReferences : public ReferenceStore {
 public:
  explicit ClusterReferences(const std::string& url)
      : cluster_(parseRedisTarget(url), kTimes), references_(cluster_) {}

  std::shared_ptr<const ReferenceNames> names() const override { return references_.names(); }
  std::vector<Adding> add(std::span<const NewReference> references,
                          const Watcher& watcher) override {
    return references_.add(references, watcher);
  }
  bool remove(const std::string& name) override { return references_.remove(name); }

 private:
  FoundHits lookUp(const std::vector<audio::AudioFeature>& features,
                   std::size_t most) const override {
    return references_.find(features, most);
  }

  RedisCluster cluster_;
  RedisReferences references_;
};

/// References with the folder that they are in.
class FolderReferences : public ReferenceStore {
 public:
  explicit FolderReferences(std::unique_ptr<StoreFolder> folder) : folder_(std::move(folder)) {}

  std::shared_ptr<const ReferenceNames> names() const override {
    return folder_->references().names();
  }
  std::vector<Adding> add(std::span<const NewReference> references,
                          const Watcher& watcher) override {
    return folder_->references().add(references, watcher);
  }
  bool remove(const std::string& name) override { return folder_->references().remove(name); }

 private:
  FoundHits lookUp(const std::vector<audio::AudioFeature>& features,
                   std::size_t most) const override {
    return folder_->references().find(features, most);
  }

  std::unique_ptr<StoreFolder> folder_;
};

/// A folder, for who takes a database's file.
void refuseFolder(const std::filesystem::path& place) {
  std::error_code error;
  if (!std::filesystem::is_directory(place, error)) return;
  throw FileError(place,
                  std::filesystem::exists(place / kReferencesFile, error)
                      ? "is a store's folder, which a server looks into; ask one (audiomatch serve "
                        "--store DIR), or give a database's file"
                      : "is a folder; give a database's file");
}

/// So that a store's files aren't strewn among others. Throws FileError.
void refuseOtherFolder(const std::filesystem::path& folder) {
  std::error_code error;
  if (std::filesystem::exists(folder / kReferencesFile, error)) return;
  std::filesystem::directory_iterator entry(folder, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    // What is left of a process that was killed before it had made that file.
    if (entry->path().filename().native().starts_with(kReferencesFile)) continue;
    throw FileError(folder,
                    "holds other files and no store; give --store a folder that is empty or isn't "
                    "there, for example one in it");
  }
}

std::unique_ptr<StoreFolder> openFolder(const std::string& place) {
  refuseOtherFolder(place);
  return std::make_unique<StoreFolder>(place);
}

}  // namespace

bool isRedis(std::string_view place) noexcept { return place.starts_with("redis:"); }

std::string problemOfPlace(const std::string& place) try {
  if (place.empty()) return "names nothing; give a folder, or redis://HOST:PORT of a Redis Cluster";
  if (isRedis(place)) parseRedisTarget(place);
  if (!isRedis(place) && place.find("://") != std::string::npos) {
    return "is neither a folder nor redis://HOST:PORT[,HOST:PORT...]";
  }
  return {};
} catch (const StoreError& error) {
  return error.what();
}

std::string shownPlace(const std::string& place) {
  return isRedis(place) ? parseRedisTarget(place).url : place;
}

std::unique_ptr<const References> openReferences(const std::filesystem::path& place) {
  if (isRedis(place.native())) return std::make_unique<const ClusterReferences>(place.native());
  refuseFolder(place);
  return std::make_unique<const ReferenceDatabase>(place);
}

std::unique_ptr<ReferenceStore> openReferenceStore(const std::string& place) {
  if (isRedis(place)) return std::make_unique<ClusterReferences>(place);
  return std::make_unique<FolderReferences>(openFolder(place));
}

std::unique_ptr<Store> openStore(const std::string& place, std::unique_ptr<const References> own,
                                 const Thresholds& thresholds) {
  if (isRedis(place)) {
    return std::make_unique<RedisStore>(parseRedisTarget(place), std::move(own));
  }
  std::unique_ptr<StoreFolder> folder;
  if (place != "none") folder = openFolder(place);
  return std::make_unique<LocalStore>(std::move(own), std::move(folder), thresholds);
}

}  // namespace audiomatch
