#include "tool/store/redis_store.h"

#include <algorithm>
#include <utility>

#include "tool/store/redis_failure.h"

namespace audiomatch {

RedisStore::RedisStore(RedisTarget target, std::unique_ptr<const References> own)
    : cluster_(std::move(target)),
      references_(cluster_),
      channels_(cluster_),
      own_(std::move(own)) {}

Store::Found RedisStore::find(const std::vector<audio::AudioFeature>& features, Patience patience) {
  const RedisEnd end = patience == Patience::kWait ? RedisEnd::kWait : RedisEnd::kPartial;
  Found found;
  references_.untilSteady([&] {
    std::vector<RedisCommand> commands;
    const RedisReferences::Query of_references(references_, features, end, commands, kMostHits);
    const std::size_t first = commands.size();
    const RedisChannels::Query of_channels(channels_, features, commands);
    const std::vector<RedisReply> replies = cluster_.run(commands, end);
    if (std::ranges::all_of(replies, &RedisReply::isUnavailable)) {
      throwRedisAway(cluster_.url(), "none of its nodes has answered in time");
    }
    if (!of_references.read(std::span(replies).first(first), found.references)) return false;
    const bool is_whole = of_channels.read(std::span(replies).subspan(first), found.channels);
    found.references = joiner_.join(own_->find(features, kMostHits), std::move(found.references));
    found.references.is_partial = found.references.is_partial || !is_whole;
    return true;
  });
  return found;
}

std::shared_ptr<const ReferenceNames> RedisStore::names() {
  return joiner_.join(own_->names(), references_.names());
}

bool RedisStore::isRemovable(std::int32_t audioIndex) {
  return static_cast<std::size_t>(audioIndex) >= own_->names()->audioCount();
}

Adding RedisStore::add(const NewReference& reference) {
  if (own_->names()->has(reference.name)) return Adding::kConflict;
  return references_.add({&reference, 1}, {})[0];
}

Taken RedisStore::apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
                        std::vector<audio::AudioAttribute> current) {
  return channels_.apply(id, session, analysis, current);
}

bool RedisStore::end(std::uint32_t id, const std::optional<std::string>& key) {
  return channels_.end(id, key);
}

StoreCounts RedisStore::counts() {
  const auto names = joiner_.join(own_->names(), references_.known());
  const ChannelBounds held = channels_.held();
  return {names->recordingCount(), names->entryCount(), held.channels, held.attributes, 0};
}

std::vector<std::string> RedisStore::tidy() {
  references_.names();
  references_.sweep();
  return channels_.endSilent();
}

}  // namespace audiomatch
