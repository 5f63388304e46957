#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "match/database/audio_database.h"
#include "match/database/byte_source.h"

namespace audio {

/// The first thing wrong with a database.
struct DatabaseFault {
  enum class Kind {
    kNameCount,    ///< `claimed` names don't fit into the bytes that there are
    kName,         ///< the file ends within name `number`
    kHeader,       ///< the table's size or its time slots are other numbers, or not there
    kBucketCount,  ///< the file ends before or within the count of bucket `number`
    kBucket,       ///< the file ends among the `claimed` entries of bucket `number`
    kAudio,        ///< an entry of bucket `number` is of audio `claimed`, which has no name
    kBytesLeft,    ///< bytes follow the last bucket
    kReadFailed,   ///< reading failed, for another reason than the end
  };
  Kind kind;
  std::uint64_t offset;   ///< of the count, entry or byte that is wrong, from the first byte on
  std::uint64_t number;   ///< of the name or bucket, from 0 on
  std::uint64_t claimed;  ///< what the file says, or 0
};

/// Reads a database piece by piece, the counterpart of DatabaseWriter: for
/// those who pass over it once and needn't hold it. Whatever the bytes,
/// nothing is allocated on a count's word alone.
///
/// A fault is noted, with its place. One that ends the reading is the last
/// there is; an entry without an audio doesn't end it. Methods that aren't
/// noexcept throw std::bad_alloc.
class DatabaseReader {
 public:
  /// @param source  at its first byte; outlives the reader
  explicit DatabaseReader(ByteSource& source) : source_(source) {}
  DatabaseReader(const DatabaseReader&) = delete;
  DatabaseReader& operator=(const DatabaseReader&) = delete;

  /// Reads what stands before the buckets, once and first. False at a fault.
  bool readNames();

  /// The names of the audios, as far as they were read; cut at a zero byte.
  const std::vector<std::string>& names() const noexcept { return names_; }

  /// Replaces `entries` by those of the next bucket. False behind the last,
  /// and at a fault; `entries` is then empty.
  bool nextBucket(std::vector<std::uint64_t>& entries);

  /// Bytes read so far: where the next name or bucket starts.
  std::uint64_t position() const noexcept { return source_.position(); }

  /// The first fault, once one was met. Bytes behind the last bucket are
  /// noticed by the call of `nextBucket` that finds no more.
  const std::optional<DatabaseFault>& fault() const noexcept { return fault_; }

  /// What AudioDatabase::load makes of what was read: kWhole, kCut, kDamaged or
  /// kReadFailed.
  DatabaseState loading() const noexcept { return loading_; }

 private:
  /// Reads ahead, and counts what was taken.
  class Buffered : public ByteSource {
   public:
    explicit Buffered(ByteSource& source) noexcept : source_(source) {}
    std::size_t read(void* bytes, std::size_t size) noexcept override;
    std::uint64_t remaining() noexcept override;
    bool failed() const noexcept override { return source_.failed(); }
    std::uint64_t position() const noexcept { return position_; }

   private:
    ByteSource& source_;
    std::array<unsigned char, 1 << 16> buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::uint64_t position_ = 0;
  };

  bool stop(DatabaseFault fault, DatabaseState loading);
  bool readHeader();
  bool stopWithin(const DatabaseFault& fault, std::uint32_t count);
  std::size_t readEntries(std::uint32_t count, std::vector<std::uint64_t>& entries);
  void checkAudios(std::uint64_t offset, const std::vector<std::uint64_t>& entries);
  void checkEnd();

  Buffered source_;
  std::vector<std::string> names_;
  std::uint32_t next_ = 0;
  bool stopped_ = false;
  std::optional<DatabaseFault> fault_;
  DatabaseState loading_ = DatabaseState::kWhole;
};

}  // namespace audio
