#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tool/recognition/live_channels.h"
#include "tool/store/reference_store.h"

namespace audiomatch {

/// How much a store holds.
struct StoreCounts {
  std::size_t references = 0;
  std::uint64_t entries = 0;     ///< of these
  std::size_t channels = 0;      ///< on air
  std::uint64_t attributes = 0;  ///< of these
  std::uint64_t bytes = 0;       ///< on the disk, 0 when that is elsewhere
};

/// What a server keeps and looks into: references, and what channels played of late. Any
/// thread. All functions throw FileError when the store fails, and std::bad_alloc.
class Store {
 public:
  virtual ~Store() = default;

  /// Whether a question waits for what can't be reached, or does without.
  enum class Patience { kNone, kWait };

  /// What there is of a recording's features.
  struct Found {
    FoundHits references;
    std::vector<audio::AudioAttribute> channels;  ///< as AttributeIndex gives it
  };
  /// Throws std::length_error, too, for more than `kMostHits` hits and as AttributeCollector does.
  virtual Found find(const std::vector<audio::AudioFeature>& features, Patience patience) = 0;

  /// The references that there are now; never null.
  virtual std::shared_ptr<const ReferenceNames> names() = 0;
  /// Whether a reference can be removed: it isn't one of a database's file.
  virtual bool isRemovable(std::int32_t audioIndex) = 0;
  /// As ReferenceStore::add; a name of the database's is a conflict.
  virtual Adding add(const NewReference& reference) = 0;
  /// As ReferenceStore::remove; false for a reference of the database's.
  virtual bool remove(const std::string& name) = 0;

  /// As LiveChannels has them.
  virtual Taken apply(std::uint32_t id, const ChannelSession& session, std::uint32_t analysis,
                      std::vector<audio::AudioAttribute> current) = 0;
  virtual bool end(std::uint32_t id, const std::optional<std::string>& key) = 0;
  virtual std::vector<ChannelStatus> channels() = 0;
  virtual std::optional<OnAir> onAir(std::uint32_t id) = 0;

  /// Ends the channels that nobody listens to any more, and does what else is to be done
  /// from time to time. To be called every second or so.
  ///
  /// @return the names of those channels
  virtual std::vector<std::string> tidy() = 0;

  /// How much it holds, as it was when it last did something. Asks nobody.
  virtual StoreCounts counts() = 0;

  /// From now on nothing waits for what is away.
  virtual void hurry() noexcept {}
};

}  // namespace audiomatch
