#include "tool/store/open_store.h"

#include <utility>

#include "tool/recognition/reference_database.h"
#include "tool/store/local_store.h"
#include "tool/store/redis_references.h"
#include "tool/store/redis_store.h"

namespace audiomatch {
namespace {

// A database's file may be written for minutes; nodes come back sooner.
constexpr RedisTimes kTimes{};

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
  explicit FolderReferences(const std::string& folder) : folder_(folder) {}

  std::shared_ptr<const ReferenceNames> names() const override {
    return folder_.references().names();
  }
  std::vector<Adding> add(std::span<const NewReference> references,
                          const Watcher& watcher) override {
    return folder_.references().add(references, watcher);
  }
  bool remove(const std::string& name) override { return folder_.references().remove(name); }

 private:
  FoundHits lookUp(const std::vector<audio::AudioFeature>& features,
                   std::size_t most) const override {
    return folder_.references().find(features, most);
  }

  mutable StoreFolder folder_;
};

}  // namespace

bool isRedis(std::string_view place) noexcept { return place.starts_with("redis:"); }

std::unique_ptr<const References> openReferences(const std::filesystem::path& place) {
  if (isRedis(place.native())) return std::make_unique<const ClusterReferences>(place.native());
  return std::make_unique<const ReferenceDatabase>(place);
}

std::unique_ptr<ReferenceStore> openReferenceStore(const std::string& place) {
  if (isRedis(place)) return std::make_unique<ClusterReferences>(place);
  return std::make_unique<FolderReferences>(place);
}

std::unique_ptr<Store> openStore(const std::string& place, std::unique_ptr<const References> own,
                                 const Thresholds& thresholds) {
  if (isRedis(place)) {
    return std::make_unique<RedisStore>(parseRedisTarget(place), std::move(own));
  }
  std::unique_ptr<StoreFolder> folder;
  if (place != "none") folder = std::make_unique<StoreFolder>(place);
  return std::make_unique<LocalStore>(std::move(own), std::move(folder), thresholds);
}

}  // namespace audiomatch
