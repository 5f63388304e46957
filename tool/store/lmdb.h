#pragma once

#include <lmdb.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace audiomatch {

/// A file of tables that keeps what was committed, whatever ends the process. Any thread.
class LmdbFile {
 public:
  enum class Durability {
    kDisk,     ///< a commit is on the disk
    kProcess,  ///< a commit outlives the process; the machine's end may damage the file
  };

  /// Opens the file, or makes it; its lock lies beside it. Throws FileError, also for
  /// one that was cut. Other damage isn't noticed, and may end the process.
  LmdbFile(const std::filesystem::path& path, Durability durability);
  LmdbFile(const LmdbFile&) = delete;
  LmdbFile& operator=(const LmdbFile&) = delete;

  const std::filesystem::path& path() const noexcept { return path_; }

  /// Bytes of its pages that are in use.
  std::uint64_t bytes() const;

 private:
  friend class LmdbTransaction;
  void lengthen() const noexcept;
  struct Closer {
    void operator()(MDB_env* environment) const noexcept { mdb_env_close(environment); }
  };

  std::filesystem::path path_;
  std::unique_ptr<MDB_env, Closer> environment_;
};

/// A look at a file, or a change of it that happens as a whole or not at all. Ends
/// with its scope, undone where it wasn't committed. What it hands out is
/// the file's own, and valid until the next change or the end. One thread. All functions throw
/// FileError: "the disk is full" and the like.
class LmdbTransaction {
 public:
  enum class Kind { kReading, kWriting };

  /// @param file  outlives this object; one transaction at a time writes to it, others wait
  LmdbTransaction(LmdbFile& file, Kind kind);
  LmdbTransaction(const LmdbTransaction&) = delete;
  LmdbTransaction& operator=(const LmdbTransaction&) = delete;
  ~LmdbTransaction();

  /// A table, made where there is none; its keys are compared as bytes. To be
  /// asked for right after the file's opening, by a transaction that writes and is
  /// committed: from then on it is there for all.
  MDB_dbi table(const char* name);

  /// The value of a key; nothing when there is no such key.
  std::optional<std::string_view> get(MDB_dbi table, std::string_view key) const;
  /// Sets the value of a key, whether there was one or not.
  void put(MDB_dbi table, std::string_view key, std::string_view value);
  /// Does nothing when there is no such key.
  void erase(MDB_dbi table, std::string_view key);

  /// Goes over what begins with `prefix`, by key, for as long as `visit` returns true.
  /// Nothing may be changed meanwhile.
  void forEach(
      MDB_dbi table, std::string_view prefix,
      const std::function<bool(std::string_view key, std::string_view value)>& visit) const;

  /// Makes the changes happen; the last thing to be done with it.
  void commit();

 private:
  void require(int code) const;

  LmdbFile& file_;
  MDB_txn* transaction_ = nullptr;
};

/// A number as a key: big-endian, so that keys are sorted as numbers are.
std::string keyOf(std::uint32_t number);

/// The reverse of the first four bytes.
std::uint32_t numberOfKey(std::string_view key);

}  // namespace audiomatch
