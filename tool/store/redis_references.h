#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tool/store/redis_cluster.h"
#include "tool/store/reference_store.h"

namespace audiomatch {

/// References in a Redis Cluster, which any number of servers share.
///
/// A bucket is a string of packed entries; one hash names the references that are whole. An
/// addition reserves numbers, writes entries, which may happen twice, and only then
/// names its reference; a removal takes the name away at once, and the entries by and by.
class RedisReferences : public ReferenceStore {
 public:
  /// @param cluster  outlives this object
  explicit RedisReferences(RedisCluster& cluster, RedisEnd end = RedisEnd::kWait)
      : cluster_(cluster), end_(end) {}

  std::shared_ptr<const ReferenceNames> names() const override;
  std::vector<Adding> add(std::span<const NewReference> references,
                          const Watcher& watcher) override;
  bool remove(const std::string& name) override;

  /// The names as they were last known; asks nobody.
  std::shared_ptr<const ReferenceNames> known() const { return latest().names; }

  /// Goes on with the removal of entries whose reference is removed, for a moment. To be called
  /// every second or so; any number of servers may.
  void sweep();

  /// Does something until it returns true: names changed while it looked. Throws StoreError
  /// when they change too fast, and what it throws.
  void untilSteady(const std::function<bool()>& ask) const;

  /// What a question asks the cluster for, in `commands`, and what comes of the replies.
  class Query {
   public:
    /// Appends its commands: the version, then a bucket for each key. They are to be run
    /// with the same `end`.
    Query(const RedisReferences& references, const std::vector<audio::AudioFeature>& features,
          RedisEnd end, std::vector<RedisCommand>& commands, std::size_t most);

    /// Reads the replies to these, which come from `replies` on. False when names have
    /// changed meanwhile: the question is then to be asked again. Throws StoreError when no
    /// names can be had, and never could.
    bool read(std::span<const RedisReply> replies, FoundHits& found) const;

   private:
    const RedisReferences& references_;
    const std::vector<audio::AudioFeature>& features_;
    RedisEnd end_;
    std::size_t most_;  // hits
    std::optional<std::string> version_;
    std::shared_ptr<const ReferenceNames> names_;
    std::size_t count_ = 0;  // of buckets
  };

 private:
  FoundHits lookUp(const std::vector<audio::AudioFeature>& features,
                   std::size_t most) const override;
  /// The names that there were at some version.
  struct Known {
    std::optional<std::string> version{};  // none yet
    std::shared_ptr<const ReferenceNames> names = std::make_shared<const ReferenceNames>();
  };

  enum class Loading { kLoaded, kChanging, kAway };
  /// What there is of the names while they come.
  struct NamesByAudio {
    std::vector<std::string> list;
    std::size_t recordings = 0;
    std::uint64_t entries = 0;
  };
  /// A record whose entries are to go, and the mark of when that was decided.
  struct Removed {
    std::string record;
    std::string mark;
  };

  Known latest() const;
  bool load(RedisEnd end) const;
  Loading tryToLoad(RedisEnd end) const;
  void takeNames(std::span<const RedisReply> piece, NamesByAudio& names) const;
  const RedisReply& require(const RedisReply& reply) const;
  void write(class EntryGroups& groups, const Watcher& watcher);
  std::vector<RedisReply> someRemoved() const;
  void chooseSwept(std::span<const RedisReply> removed);

  RedisCluster& cluster_;
  RedisEnd end_;
  mutable std::mutex mutex_;
  mutable Known known_;
  std::vector<Removed> sweeping_;  // whose entries are being removed
  std::string swept_audios_;       // of these, as the sweep's script takes them
  std::uint32_t swept_ = 0;        // the next bucket to be swept
};

}  // namespace audiomatch
