#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "feature/audio_feature.h"

namespace audio {

/// Where bytes go, in their order.
class ByteSink {
 public:
  virtual ~ByteSink() = default;

  /// Takes `size` bytes. What can't be taken is the sink's to report, by an
  /// exception of its own.
  virtual void write(const void* bytes, std::size_t size) = 0;
};

/// Writes a database piece by piece, for builders that don't hold it all: the
/// names once, then every bucket in the order of their keys. What the sink
/// throws passes through.
class DatabaseWriter {
 public:
  /// @param sink  receives the bytes; outlives the writer
  explicit DatabaseWriter(ByteSink& sink) noexcept : sink_(sink) {}

  /// Starts a database of `audioCount` audios.
  void beginNames(std::size_t audioCount);
  /// The name of the next audio index. A reader takes what stands before a
  /// zero byte.
  void name(const std::string& name);
  /// Ends the names; 2^20 buckets follow.
  void endNames();

  /// The next key's bucket, in the order in which readers will list it.
  void bucket(std::span<const std::uint64_t> entries);

 private:
  void count(std::size_t number);

  ByteSink& sink_;
};

/// One audio of a database: what a match is called, and its entries.
struct DatabaseAudio {
  std::string name;
  std::vector<AudioFeature> entries;  ///< keys below 2^20; of times the low 14 bits are kept
};

/// Writes the database of some audios, whose indices are their positions.
///
/// Within a bucket entries go by audio index, then time, so equal audios make
/// equal bytes. Throws std::bad_alloc, std::out_of_range for a key that is
/// none, and what the sink throws. Memory: 8 bytes an entry, and 8 MiB.
void writeDatabase(std::span<const DatabaseAudio> audios, ByteSink& sink);

}  // namespace audio
