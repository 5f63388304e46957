#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

/// By hash key: the entries of a database's bucket.
using Buckets = std::map<std::uint32_t, std::vector<std::uint64_t>>;

/// A database file as bytes, put together by hand.
inline std::vector<std::uint8_t> databaseBytes(const std::vector<std::string>& names,
                                               const Buckets& buckets) {
  std::vector<std::uint8_t> bytes;
  const auto number = [&](std::uint64_t value, int width) {
    for (int i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  };
  number(names.size(), 4);
  for (const std::string& name : names) {
    number(name.size(), 4);
    bytes.insert(bytes.end(), name.c_str(), name.c_str() + name.size() + 1);
  }
  number(1048576, 4);
  number(16384, 4);
  for (std::uint32_t key = 0; key < 1048576; ++key) {
    const auto bucket = buckets.find(key);
    number(bucket == buckets.end() ? 0 : bucket->second.size(), 4);
    if (bucket == buckets.end()) continue;
    for (const std::uint64_t entry : bucket->second) number(entry, 8);
  }
  return bytes;
}

/// A file of the given bytes, removed with the object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::vector<std::uint8_t>& bytes) {
    char path[] = "/tmp/audio_test_XXXXXX";
    std::FILE* file = fdopen(mkstemp(path), "wb");
    path_ = path;
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size())
      std::abort();
    std::fclose(file);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { unlink(path_.c_str()); }

  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

}  // namespace testing_support
