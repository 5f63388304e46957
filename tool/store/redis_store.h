#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/recognition/reference_joiner.h"
#include "tool/store/redis_channels.h"
#include "tool/store/redis_references.h"
#include "tool/store/store.h"

namespace audiomatch {

/// What servers and listeners share in a Redis Cluster, behind the references of the
/// server's own. A question is one round trip to each node.
class RedisStore : public Store {
 public:
  /// @param own  the server's, which never change
  /// Throws StoreError when the cluster can't be reached.
  RedisStore(RedisTarget target, std::unique_ptr<const References> own);

  Found find(const std::vector<audio::AudioFeature>& features, Patience patience) override;
  std::shared_ptr<const ReferenceNames> names() override;
  bool isRemovable(std::int32_t audioIndex) override;
  Adding add(const NewReference& reference) override;
  bool remove(const std::string& name) override { return references_.remove(name); }
  Taken apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
              std::vector<audio::AudioAttribute> current) override;
  bool end(std::uint32_t id, const std::optional<std::string>& key) override;
  std::vector<ChannelStatus> channels() override { return channels_.list(); }
  std::optional<OnAir> onAir(std::uint32_t id) override { return channels_.onAir(id); }
  std::vector<std::string> tidy() override;
  StoreCounts counts() override;
  void hurry() noexcept override { cluster_.cancel(); }

 private:
  RedisCluster cluster_;
  RedisReferences references_;
  RedisChannels channels_;
  std::unique_ptr<const References> own_;
  ReferenceJoiner joiner_;
};

}  // namespace audiomatch
