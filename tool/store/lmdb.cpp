#include "tool/store/lmdb.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "tool/base/errors.h"

namespace audiomatch {
namespace {

constexpr MDB_dbi kMostTables = 8;
constexpr unsigned kMostReaders = 1024;
// Addresses, not memory: the file grows as it is filled.
constexpr std::size_t kMostBytes = sizeof(void*) > 4 ? std::size_t{1} << 38 : std::size_t{1} << 30;

MDB_val valueOf(std::string_view bytes) noexcept {
  return {bytes.size(), const_cast<char*>(bytes.data())};
}

std::string_view bytesOf(const MDB_val& value) noexcept {
  return {static_cast<const char*>(value.mv_data), value.mv_size};
}

[[noreturn]] void fail(const std::filesystem::path& path, int code) {
  if (code == ENOMEM) throw std::bad_alloc();
  constexpr int kFull[] = {ENOSPC, EDQUOT, EFBIG, MDB_MAP_FULL};
  if (std::ranges::count(kFull, code) > 0) {
    throw FileError(path, "the disk is full; nothing has changed");
  }
  // The last write before a disk is full comes short, which LMDB calls so.
  if (code == EIO) throw FileError(path, "the disk is full, or fails; nothing has changed");
  if (code == MDB_INVALID || code == MDB_CORRUPTED || code == MDB_VERSION_MISMATCH) {
    throw FileError(path, "not a store, or damaged; give another folder, or remove this file");
  }
  throw FileError(path, mdb_strerror(code));
}

}  // namespace

LmdbFile::LmdbFile(const std::filesystem::path& path, Durability durability) : path_(path) {
  MDB_env* environment = nullptr;
  int code = mdb_env_create(&environment);
  environment_.reset(environment);
  if (code == 0) code = mdb_env_set_maxdbs(environment, kMostTables);
  if (code == 0) code = mdb_env_set_maxreaders(environment, kMostReaders);
  if (code == 0) code = mdb_env_set_mapsize(environment, kMostBytes);
  // Without a reader for each thread: a server's threads come and go.
  const unsigned flags =
      MDB_NOSUBDIR | MDB_NOTLS | (durability == Durability::kProcess ? MDB_NOSYNC : 0u);
  if (code == 0) code = mdb_env_open(environment, path.c_str(), flags, 0644);
  if (code != 0) fail(path, code);
  // To read pages that aren't there would end the process.
  if (std::filesystem::file_size(path) < bytes()) {
    throw FileError(path, "damaged: its end is missing; put a copy in its place, or remove it");
  }
}

/// Gives the file all of its pages: one that a change took and left again may never be written.
/// What can't be done now is done after the next change.
void LmdbFile::lengthen() const noexcept {
  mdb_filehandle_t file = 0;
  struct stat state {};
  mdb_env_get_fd(environment_.get(), &file);
  const auto length = static_cast<off_t>(bytes());
  if (fstat(file, &state) == 0 && state.st_size < length && ftruncate(file, length) != 0) return;
}

std::uint64_t LmdbFile::bytes() const {
  MDB_envinfo information{};
  MDB_stat state{};
  mdb_env_info(environment_.get(), &information);
  mdb_env_stat(environment_.get(), &state);
  return (information.me_last_pgno + 1) * std::uint64_t{state.ms_psize};
}

LmdbTransaction::LmdbTransaction(LmdbFile& file, Kind kind) : file_(file) {
  require(mdb_txn_begin(file.environment_.get(), nullptr, kind == Kind::kReading ? MDB_RDONLY : 0,
                        &transaction_));
}

LmdbTransaction::~LmdbTransaction() {
  if (transaction_) mdb_txn_abort(transaction_);
}

void LmdbTransaction::require(int code) const {
  if (code != 0) fail(file_.path(), code);
}

MDB_dbi LmdbTransaction::table(const char* name) {
  MDB_dbi table = 0;
  require(mdb_dbi_open(transaction_, name, MDB_CREATE, &table));
  return table;
}

std::optional<std::string_view> LmdbTransaction::get(MDB_dbi table, std::string_view key) const {
  MDB_val place = valueOf(key);
  MDB_val value{};
  const int code = mdb_get(transaction_, table, &place, &value);
  if (code == MDB_NOTFOUND) return {};
  require(code);
  return bytesOf(value);
}

void LmdbTransaction::put(MDB_dbi table, std::string_view key, std::string_view value) {
  MDB_val place = valueOf(key);
  MDB_val data = valueOf(value);
  require(mdb_put(transaction_, table, &place, &data, 0));
}

void LmdbTransaction::erase(MDB_dbi table, std::string_view key) {
  MDB_val place = valueOf(key);
  const int code = mdb_del(transaction_, table, &place, nullptr);
  if (code != MDB_NOTFOUND) require(code);
}

void LmdbTransaction::forEach(
    MDB_dbi table, std::string_view prefix,
    const std::function<bool(std::string_view, std::string_view)>& visit) const {
  MDB_cursor* opened = nullptr;
  require(mdb_cursor_open(transaction_, table, &opened));
  const std::unique_ptr<MDB_cursor, decltype(&mdb_cursor_close)> cursor(opened, mdb_cursor_close);
  MDB_val key = valueOf(prefix);
  MDB_val value{};
  int code = mdb_cursor_get(opened, &key, &value, prefix.empty() ? MDB_FIRST : MDB_SET_RANGE);
  for (; code == 0 && bytesOf(key).starts_with(prefix);
       code = mdb_cursor_get(opened, &key, &value, MDB_NEXT)) {
    if (!visit(bytesOf(key), bytesOf(value))) return;
  }
  if (code != MDB_NOTFOUND) require(code);
}

void LmdbTransaction::commit() {
  MDB_txn* ending = transaction_;
  transaction_ = nullptr;
  require(mdb_txn_commit(ending));
  file_.lengthen();
}

std::string keyOf(std::uint32_t number) {
  std::string key;
  for (int shift = 24; shift >= 0; shift -= 8) key.push_back(static_cast<char>(number >> shift));
  return key;
}

std::uint32_t numberOfKey(std::string_view key) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<unsigned char>(key[i]);
  return number;
}

}  // namespace audiomatch
