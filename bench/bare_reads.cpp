#include "bare_reads.h"

#include <fmt/core.h>
#include <hiredis/hiredis.h>
#include <lmdb.h>

#include <cstdlib>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <string_view>

#include "match/database/audio_database.h"
#include "match/database/database_format.h"
#include "match/database/packed_entry.h"
#include "tool/store/redis_cluster.h"
#include "tool/store/redis_slot.h"
#include "tool/store/redis_topology.h"

namespace bench {
namespace {

std::uint64_t sumOf(std::string_view bytes) noexcept {
  std::uint64_t sum = 0;
  for (; bytes.size() >= sizeof sum; bytes.remove_prefix(sizeof sum)) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data(), sizeof word);
    sum += word;
  }
  return std::accumulate(bytes.begin(), bytes.end(), sum);
}

void load(audio::AudioDatabase& database, const std::string& path) {
  if (!database.load(path.c_str())) throw std::runtime_error(path + " can't be loaded");
}

class File : public BareReads {
 public:
  explicit File(const std::string& path) { load(database_, path); }

  std::uint64_t read(const std::vector<audio::AudioFeature>& features) override {
    std::uint64_t sum = 0;
    for (const audio::AudioFeature& feature : features) {
      const audio::Bucket bucket = database_.bucket(feature.hashKey);
      sum += sumOf(
          {reinterpret_cast<const char*>(bucket.entries), bucket.stored * audio::kEntryBytes});
    }
    return sum;
  }

 private:
  audio::AudioDatabase database_;
};

void require(int code) {
  if (code != 0) throw std::runtime_error(mdb_strerror(code));
}

class Lmdb : public BareReads {
 public:
  explicit Lmdb(const std::filesystem::path& file) {
    MDB_env* environment = nullptr;
    require(mdb_env_create(&environment));
    environment_.reset(environment);
    require(mdb_env_set_maxdbs(environment, 1));
    // Without its locks, as the same process has the file open already.
    require(mdb_env_open(environment, file.c_str(),
                         MDB_NOSUBDIR | MDB_NOTLS | MDB_RDONLY | MDB_NOLOCK, 0));
    MDB_txn* opening = nullptr;
    require(mdb_txn_begin(environment, nullptr, MDB_RDONLY, &opening));
    require(mdb_dbi_open(opening, "entries", 0, &entries_));
    require(mdb_txn_commit(opening));
  }

  std::uint64_t read(const std::vector<audio::AudioFeature>& features) override {
    MDB_txn* look = nullptr;
    require(mdb_txn_begin(environment_.get(), nullptr, MDB_RDONLY, &look));
    std::uint64_t sum = 0;
    for (const audio::AudioFeature& feature : features) {
      unsigned char place[4];
      for (int i = 0; i < 4; ++i) {
        place[i] = static_cast<unsigned char>(feature.hashKey >> (24 - 8 * i));
      }
      MDB_val key{sizeof place, place};
      MDB_val value{};
      if (mdb_get(look, entries_, &key, &value) == 0) {
        sum += sumOf({static_cast<const char*>(value.mv_data), value.mv_size});
      }
    }
    mdb_txn_abort(look);
    return sum;
  }

  std::uint64_t usedBytes() override {
    MDB_txn* look = nullptr;
    require(mdb_txn_begin(environment_.get(), nullptr, MDB_RDONLY, &look));
    MDB_stat table{};
    mdb_stat(look, entries_, &table);
    mdb_txn_abort(look);
    return table.ms_psize *
           std::uint64_t{table.ms_branch_pages + table.ms_leaf_pages + table.ms_overflow_pages};
  }

 private:
  struct Close {
    void operator()(MDB_env* environment) const noexcept { mdb_env_close(environment); }
  };

  std::unique_ptr<MDB_env, Close> environment_;
  MDB_dbi entries_ = 0;
};

struct Free {
  void operator()(redisContext* context) const noexcept { redisFree(context); }
  void operator()(void* reply) const noexcept { freeReplyObject(reply); }
};
using Context = std::unique_ptr<redisContext, Free>;
using Reply = std::unique_ptr<redisReply, Free>;

class Redis : public BareReads {
 public:
  explicit Redis(const std::string& url) {
    const audiomatch::RedisTarget target = audiomatch::parseRedisTarget(url);
    const audiomatch::RedisCommand ask[] = {{.words = {"CLUSTER", "SLOTS"}}};
    topology_ = audiomatch::RedisTopology::fromSlots(audiomatch::RedisCluster(target).run(ask)[0],
                                                     target.nodes[0]);
    if (!topology_) throw std::runtime_error(url + " isn't a cluster");
    for (const audiomatch::RedisMaster& master : topology_->masters()) {
      nodes_.emplace_back(redisConnect(master.node.host.c_str(), master.node.port));
      if (!nodes_.back() || nodes_.back()->err != 0) throw std::runtime_error(url + " is away");
    }
  }

  std::uint64_t read(const std::vector<audio::AudioFeature>& features) override {
    std::vector<std::size_t> asked(nodes_.size());
    for (std::size_t i = 0; i < features.size(); ++i) {
      if (i > 0 && features[i].hashKey == features[i - 1].hashKey) continue;
      const std::string key = bucketOf(features[i].hashKey);
      const std::size_t node = nodeOf(key);
      redisAppendCommand(nodes_[node].get(), "GET %b", key.data(), key.size());
      ++asked[node];
    }
    for (const Context& node : nodes_) {
      for (int done = 0; done == 0;) {
        if (redisBufferWrite(node.get(), &done) != REDIS_OK) throw std::runtime_error(node->errstr);
      }
    }
    std::uint64_t sum = 0;
    for (std::size_t node = 0; node < nodes_.size(); ++node) {
      for (; asked[node] > 0; --asked[node]) {
        const Reply bucket = next(node);
        if (bucket->type == REDIS_REPLY_STRING) sum += sumOf({bucket->str, bucket->len});
      }
    }
    return sum;
  }

  std::uint64_t usedBytes() override {
    std::uint64_t sum = 0;
    for (std::size_t node = 0; node < nodes_.size(); ++node) {
      redisAppendCommand(nodes_[node].get(), "INFO memory");
      constexpr const char* kField = "used_memory:";
      const Reply information = next(node);
      sum +=
          std::strtoull(std::strstr(information->str, kField) + std::strlen(kField), nullptr, 10);
    }
    return sum;
  }

  /// Of the first node.
  RedisSample sample(const audio::AudioDatabase& database, unsigned every) {
    constexpr std::uint64_t kWide = audio::packEntry(131'072, 0);
    std::uint64_t entries = 0;
    std::uint64_t strings = 0;
    std::uint64_t sets = 0;
    std::uint64_t wide_sets = 0;
    for (std::uint32_t key = 0; key < audio::kTableSize; key += every) {
      const audio::Bucket bucket = database.bucket(key);
      const std::string name = bucketOf(key);
      if (bucket.stored == 0 || nodeOf(name) != 0) continue;
      entries += bucket.stored;
      strings += number("MEMORY USAGE %s SAMPLES 0", name);
      sets += bytesAsSet(bucket, name, 0);
      wide_sets += bytesAsSet(bucket, name, kWide);
    }
    const auto share = [&](std::uint64_t bytes) {
      return static_cast<double>(bytes) / static_cast<double>(entries);
    };
    return {share(strings), share(sets), share(wide_sets)};
  }

 private:
  std::uint64_t bytesAsSet(const audio::Bucket& bucket, const std::string& name,
                           std::uint64_t added) {
    // What is in braces has it at the node of the bucket.
    const std::string set = fmt::format("set:{{{}}}", name);
    for (std::size_t i = 0; i < bucket.stored; ++i) {
      const unsigned long long entry = bucket[i] + added;
      redisAppendCommand(nodes_[0].get(), "SADD %s %llu", set.c_str(), entry);
    }
    for (std::size_t i = 0; i < bucket.stored; ++i) next(0);
    const std::uint64_t bytes = number("MEMORY USAGE %s SAMPLES 0", set);
    number("DEL %s", set);
    return bytes;
  }

  static std::string bucketOf(std::uint32_t key) { return fmt::format("audiomatch:r:{}", key); }

  std::size_t nodeOf(const std::string& key) const {
    return topology_->holderOf(audiomatch::redisSlotOf(key));
  }

  Reply next(std::size_t node) {
    void* reply = nullptr;
    if (redisGetReply(nodes_[node].get(), &reply) != REDIS_OK) {
      throw std::runtime_error(nodes_[node]->errstr);
    }
    return Reply(static_cast<redisReply*>(reply));
  }

  std::uint64_t number(const char* command, const std::string& key) {
    redisAppendCommand(nodes_[0].get(), command, key.c_str());
    return static_cast<std::uint64_t>(next(0)->integer);
  }

  std::optional<audiomatch::RedisTopology> topology_;
  std::vector<Context> nodes_;  // as the topology's masters
};

}  // namespace

std::unique_ptr<BareReads> bareFile(const std::string& database) {
  return std::make_unique<File>(database);
}

std::unique_ptr<BareReads> bareLmdb(const std::filesystem::path& file) {
  return std::make_unique<Lmdb>(file);
}

std::unique_ptr<BareReads> bareRedis(const std::string& url) {
  return std::make_unique<Redis>(url);
}

RedisSample sampleRedis(const std::string& url, const std::string& database, unsigned every) {
  audio::AudioDatabase buckets;
  load(buckets, database);
  return Redis(url).sample(buckets, every);
}

}  // namespace bench
