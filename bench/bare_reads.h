#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "feature/audio_feature.h"

namespace bench {

/// The least that a look-up can do: reads the buckets of features by what lies underneath, and
/// touches every byte. All functions throw std::runtime_error when something fails.
class BareReads {
 public:
  virtual ~BareReads() = default;

  /// Reads the bucket of each feature. Returns a sum of what it read.
  virtual std::uint64_t read(const std::vector<audio::AudioFeature>& features) = 0;
  /// Bytes that the store uses for entries; 0 when it can't tell.
  virtual std::uint64_t usedBytes() { return 0; }
};

/// A pass over buckets of the file, which is held in memory a second time.
std::unique_ptr<BareReads> bareFile(const std::string& database);

/// `mdb_get` for each feature, in one transaction.
///
/// @param file  of EmbeddedReferences, which may be open
std::unique_ptr<BareReads> bareLmdb(const std::filesystem::path& file);

/// hiredis: a GET for each key, all at once to each node of the cluster.
std::unique_ptr<BareReads> bareRedis(const std::string& url);

/// Bytes an entry, as Redis has it.
struct RedisSample {
  double as_strings;    ///< in buckets as they are
  double as_sets;       ///< in sets of integers instead, of 32 bits as the audios are few
  double as_wide_sets;  ///< in those of audios from number 131,072 on, whose entries have more
};

/// Puts every n-th bucket of one node, as a set, beside itself, asks Redis for the memory of
/// both, and removes the set; then the other kind. Throws std::runtime_error.
RedisSample sampleRedis(const std::string& url, const std::string& database, unsigned every);

}  // namespace bench
